#pragma once
// The batch run: each input file in order is loaded, rendered through the effects at full
// resolution and written out. Each file has an equal share of the progress, split 0.1 loading,
// 0.8 effects (equally), 0.1 encoding.
//
// Which files are skipped and what ends the run:
// - a file whose own format isn't one written back (BMP, GIF, JPEG, PNG, TIFF) is skipped and
//   marked (bValidOutput false), even when converting;
// - a file that can't be loaded is passed over with no message and no mark;
// - a render or encode that fails or stops, or an output that can't be written, ends the run
//   with that result.
//
// An output is encoded whole in memory and then replaces its file through a temporary file
// beside it, so a failed or stopped run never leaves a part of a file, nor destroys the file it
// would have replaced (with "same folder, same format", the user's original). A format converted
// to that has no handling of its own below is written by its own codec with the state's encode
// settings.
//
// Several files are decoded, rendered and encoded at once, each with its own copy of the
// effects, while the outputs are written strictly in list order. So the outputs, the messages,
// and which of two inputs wins the same output path are those of the one-at-a-time run; a file
// whose input an earlier file's output replaces is loaded only after that output is in place.

#include <string>

#include "batch/QDBatchState.h"
#include "foundation/LProcessInterface.h"

class LImageBuffer;

// The output of an item as the run computes it: the input's folder or the output folder, the
// input's name without its extension, and the input's own extension (case kept) or the preferred
// extension of the format converted to. False when that format is no codec.
bool QDBatchGetOutputPath(const BatchFileItem& item, const QDBatchOutputSettings& output, std::string& out);

// 0 done, 1 stopped, 2 failed. Reports each file to the state's observer as it is settled.
LProcessResult Process(LProcessInterface& process, const QDBatchStateData& state);

// The preview of the effects: a reduced copy of a picture of iFullWidth by iFullHeight, rendered
// as the full picture would look scaled down.
struct QDBatchPreviewRenderData
{
    const LList<QDImagePipelineElement>* lpEffects = nullptr;
    LImageBuffer* lpImage = nullptr;
    unsigned iFullWidth = 0;
    unsigned iFullHeight = 0;
};
LProcessResult Process(LProcessInterface& process, QDBatchPreviewRenderData& data);
