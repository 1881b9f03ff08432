#include "imgpro_test_util.h"

#include "image/LImgProBands.h"

ThreadCount::ThreadCount(int n)
{
    LImgProSetThreadCount(n);
}

ThreadCount::~ThreadCount()
{
    LImgProSetThreadCount(0);
}
