#pragma once
// What the effects that change a picture's size or shape share: the point transform of an element
// (input point to output point about the centres, y up, as the pipeline walks it) set from plain
// geometry, its inverse, and fitting a rendered picture to the size the element promised.

#include "image/LImageBuffer.h"

class QDImagePipelineElement;

// The transform of a mapping x' = sx*x + ox, y' = sy*y + oy in pixel coordinates (y down, pixel
// centres), from an input of iWidth x iHeight to an output of outWidth x outHeight.
void QDSetAxisTransform(QDImagePipelineElement& element, double sx, double ox, double sy, double oy,
                        unsigned outWidth, unsigned outHeight);
// A turn by degrees clockwise about the centres of the input and of an output of outWidth x
// outHeight, with a scale on top of it.
void QDSetRotationTransform(QDImagePipelineElement& element, double degrees, double scale, unsigned outWidth,
                            unsigned outHeight);

// An output point of the element back to its input; true when it lands inside the input.
bool QDGetPointTransformedBack(const QDImagePipelineElement& element, int& x, int& y);
// A point of the visible pipeline's output back through the visible elements behind element, to
// what element yields; false when it leaves a picture on the way.
bool QDGetPipelinePointBack(int& x, int& y, const QDImagePipelineElement* element);

// Makes buffer exactly width x height by cutting or padding with transparent black about the
// centre; the rounding of a kernel may leave it a pixel off. False when memory runs out.
bool QDFitCentred(LImageBuffer& buffer, int width, int height);

// Scale of a preview: the buffer's width over the element's, 1 when the element has no size.
double QDPreviewScale(const QDImagePipelineElement& element, const LImageBuffer& buffer);
