#pragma once
// Load and save over any stream class: routes a codec id to its codec's process and turns a
// codec's failure into the registry's message.

#include <type_traits>

#include "codecs/LCodecAVIF.h"
#include "codecs/LCodecBMP.h"
#include "codecs/LCodecCamRAW.h"
#include "codecs/LCodecGIF.h"
#include "codecs/LCodecGIFEncode.h"
#include "codecs/LCodecHEIC.h"
#include "codecs/LCodecJPEG.h"
#include "codecs/LCodecJPEG2000.h"
#include "codecs/LCodecJXL.h"
#include "codecs/LCodecPCX.h"
#include "codecs/LCodecPNG.h"
#include "codecs/LCodecPNM.h"
#include "codecs/LCodecPSD.h"
#include "codecs/LCodecRAS.h"
#include "codecs/LCodecTGA.h"
#include "codecs/LCodecTIFF.h"
#include "codecs/LCodecWBMP.h"
#include "codecs/LCodecWEBP.h"
#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageMetadata.h"

template <class Base>
struct LProcessImageLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageCodec codec;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // result
    // Receives the photo information of codecs that read it; emptied for the others.
    LImageMetadata* lpMetadata = nullptr;
};

template <class Base>
struct LProcessImageSave
{
    const LImageBuffer* lpImage = nullptr;
    LImageCodec codec;
    LImageEncodeSettings settings;
    LOutputStream<Base>* lpStream = nullptr;
    // The photo information as loaded; codecs that carry it get it with the orientation and
    // dimensions made true of the pixels written.
    const LImageMetadata* lpMetadata = nullptr;
};

namespace LImageProcessDetail
{
// Runs a codec's load process and copies the depth out.
template <template <class> class Data, class Base>
LProcessResult RunLoad(LProcessInterface& process, LProcessImageLoad<Base>& d)
{
    Data<Base> data;
    data.lpStream = d.lpStream;
    data.lpImage = d.lpImage;
    // A codec takes part in the photo information by having a metadata member.
    if constexpr (requires { data.lpMetadata; })
        data.lpMetadata = d.lpMetadata;
    else if (d.lpMetadata)
        d.lpMetadata->Clear();
    const LProcessResult r = Process(process, data);
    d.iBitDepth = data.iBitDepth;
    return r;
}

struct NoSetup
{
    template <class Data>
    void operator()(Data&) const
    {
    }
};

// Runs a codec's save process; setup hands the codec its own part of the settings.
template <template <class> class Data, class Base, class Setup = NoSetup>
LProcessResult RunSave(LProcessInterface& process, LProcessImageSave<Base>& d, Setup setup = {})
{
    Data<Base> data;
    data.lpStream = d.lpStream;
    data.lpImage = d.lpImage;
    setup(data);
    LImageMetadata prepared;
    if constexpr (requires { data.lpMetadata; })
        if (d.lpMetadata && !d.lpMetadata->IsEmpty())
        {
            LImageMetadataPrepareForSave(*d.lpMetadata, d.lpImage->GetWidth(), d.lpImage->GetHeight(),
                                         prepared);
            data.lpMetadata = &prepared;
        }
    return Process(process, data);
}
} // namespace LImageProcessDetail

template <class Base>
LProcessResult Process(LProcessInterface& outer, LProcessImageLoad<Base>& d)
{
    using namespace LImageProcessDetail;
    if (!d.lpStream || !d.lpStream->IsOpen() || !d.lpImage || !d.codec.IsValid())
        return LProcessResultFailed;
    d.iBitDepth = 0;
    // A codec words a failure itself only where it knows more (a picture too large to hold).
    LCodecErrorWatch process(outer);
    LProcessResult r;
    switch (d.codec.id)
    {
    case LImageCodecBMP:
        r = RunLoad<LProcessBMPLoad>(process, d);
        break;
    case LImageCodecGIF:
        r = RunLoad<LProcessGIFLoad>(process, d);
        break;
    case LImageCodecJPEG:
        r = RunLoad<LProcessJPEGLoad>(process, d);
        break;
    case LImageCodecJPEG2000:
        r = RunLoad<LProcessJPEG2000Load>(process, d);
        break;
    case LImageCodecPCX:
        r = RunLoad<LProcessPCXLoad>(process, d);
        break;
    case LImageCodecPNG:
        r = RunLoad<LProcessPNGLoad>(process, d);
        break;
    case LImageCodecPNM:
        r = RunLoad<LProcessPNMLoad>(process, d);
        break;
    case LImageCodecPSD:
        r = RunLoad<LProcessPSDLoad>(process, d);
        break;
    case LImageCodecRAS:
        r = RunLoad<LProcessRASLoad>(process, d);
        break;
    case LImageCodecTGA:
        r = RunLoad<LProcessTGALoad>(process, d);
        break;
    case LImageCodecTIFF:
        r = RunLoad<LProcessTIFFLoad>(process, d);
        break;
    case LImageCodecWBMP:
        r = RunLoad<LProcessWBMPLoad>(process, d);
        break;
    case LImageCodecWEBP:
        r = RunLoad<LProcessWEBPLoad>(process, d);
        break;
    case LImageCodecAVIF:
        r = RunLoad<LProcessAVIFLoad>(process, d);
        break;
    case LImageCodecJXL:
        r = RunLoad<LProcessJXLLoad>(process, d);
        break;
    case LImageCodecHEIC:
        r = RunLoad<LProcessHEICLoad>(process, d);
        break;
    default:
    {
        if (d.lpMetadata)
            d.lpMetadata->Clear();
        // DNG, RAW and every camera family share one decoder.
        LProcessCamRAWLoad<Base> data;
        data.lpStream = d.lpStream;
        data.codec = d.codec.id;
        data.lpImage = d.lpImage;
        r = Process(process, data);
        d.iBitDepth = data.iBitDepth;
        break;
    }
    }
    if (r == LProcessResultCancelled)
    {
        d.lpImage->Destroy();
        return r;
    }
    if (r != LProcessResultSuccess || !d.lpImage->IsValid())
    {
        // Whatever a failed decoder left behind is no picture.
        d.lpImage->Destroy();
        if (d.lpMetadata)
            d.lpMetadata->Clear();
        if (!process.bErrorSet)
            outer.SetError("The image could not be loaded.");
        d.iBitDepth = 0;
        return LProcessResultFailed;
    }
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessImageSave<Base>& d)
{
    using namespace LImageProcessDetail;
    if (!d.lpImage || !d.lpImage->IsValid() || !d.lpStream || !d.lpStream->IsOpen() || !d.codec.IsValid())
        return LProcessResultFailed;
    LProcessResult r;
    switch (d.codec.id)
    {
    case LImageCodecBMP:
        r = RunSave<LProcessBMPSave>(process, d, [&](auto& data) { data.settings = d.settings.bmp; });
        break;
    case LImageCodecGIF:
        r = RunSave<LProcessGIFSave>(process, d);
        break;
    case LImageCodecJPEG:
        r = RunSave<LProcessJPEGSave>(process, d,
                                      [&](auto& data) { data.iQuality = d.settings.jpeg.iQuality; });
        break;
    case LImageCodecJPEG2000:
        r = RunSave<LProcessJPEG2000Save>(process, d,
                                          [&](auto& data) { data.settings = d.settings.jpeg2000; });
        break;
    case LImageCodecPCX:
        r = RunSave<LProcessPCXSave>(process, d);
        break;
    case LImageCodecPNG:
        r = RunSave<LProcessPNGSave>(process, d);
        break;
    case LImageCodecPNM:
        r = RunSave<LProcessPNMSave>(process, d, [&](auto& data) { data.settings = d.settings.pnm; });
        break;
    case LImageCodecPSD:
        // The PSD writer seeks back over what it wrote, which only the file stream is built for.
        if constexpr (std::is_same_v<Base, LOutputStreamFile>)
            r = RunSave<LProcessPSDSave>(process, d);
        else
            r = LProcessResultFailed;
        break;
    case LImageCodecRAS:
        r = RunSave<LProcessRASSave>(process, d);
        break;
    case LImageCodecTGA:
        r = RunSave<LProcessTGASave>(process, d);
        break;
    case LImageCodecTIFF:
        r = RunSave<LProcessTIFFSave>(process, d);
        break;
    case LImageCodecWBMP:
        r = RunSave<LProcessWBMPSave>(process, d);
        break;
    case LImageCodecWEBP:
        r = RunSave<LProcessWEBPSave>(process, d, [&](auto& data) { data.settings = d.settings.webp; });
        break;
    case LImageCodecAVIF:
        r = RunSave<LProcessAVIFSave>(process, d, [&](auto& data) { data.settings = d.settings.avif; });
        break;
    case LImageCodecJXL:
        r = RunSave<LProcessJXLSave>(process, d, [&](auto& data) { data.settings = d.settings.jxl; });
        break;
    case LImageCodecHEIC:
        r = RunSave<LProcessHEICSave>(process, d, [&](auto& data) { data.settings = d.settings.heic; });
        break;
    default:
        return LProcessResultFailed; // DNG and the raw families have no encoder
    }
    if (r == LProcessResultFailed)
        process.SetError("The image could not be saved");
    return r;
}
