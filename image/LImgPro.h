#pragma once
// The image kernels: plain objects that change the pixels of an LImageBuffer, dispatched over the
// pixel formats by LApplyImageProcess.

#include "image/LImageBuffer.h"
#include "image/LImgProColour.h"
#include "image/LImgProFrame.h"
#include "image/LImgProSS.h"
#include "image/LImgProSimple.h"
#include "image/LImgProBands.h"
#include "image/LImageTransform.h"
#include "image/LImgProFlip.h"
#include "image/LImgProRotate.h"
#include "image/LImgProScale.h"
#include "image/LImageBoxBlur.h"
#include "image/LImgProMotionBlur.h"
#include "image/LImgProNoise.h"
#include "image/LImgProQuantise.h"
