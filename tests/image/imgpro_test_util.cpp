#include "imgpro_test_util.h"

#include "image/LImgProBands.h"

SingleThreaded::SingleThreaded()
{
    LImgProSetThreadCount(1);
}

SingleThreaded::~SingleThreaded()
{
    LImgProSetThreadCount(0);
}
