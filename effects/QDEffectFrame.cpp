#include "effects/QDEffectFrame.h"

#include <algorithm>

#include "codecs/LCodecPNG.h"
#include "codecs/LImage.h"
#include "codecs/LImageProcess.h"
#include "document/LQDCacheStore.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImageTransform.h"
#include "image/LImgProOverlay.h"

namespace
{
constexpr int kCommandId = 6051;

constexpr QDPropertyDesc kTable[] = {
    // Which of the program's frames; the picture itself is what the file keeps.
    QD_PROPERTY(QDEffectFrameProperties, iFrame, 0, 1, 1, 6, "frame", "Frame").Unsaved(),
};
} // namespace

const QDFramePicture arFramePictures[6] = {
    {9001, "Mat"}, {9002, "Wood"}, {9003, "Gold"}, {9004, "Oval"}, {9005, "Film"}, {9006, "Rounded"},
};

QDEffectFrame::QDEffectFrame() : QDImagePipelineElementWithWrappedProperties(kTable) {}

QDEffectFrame::~QDEffectFrame()
{
    for (int32_t id : arPictureIds)
        LQDCacheInvalidate(id);
}

const char* QDEffectFrame::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectFrame::GetName() const
{
    return QDEffectElementName(kCommandId);
}

std::vector<QDChunkDeclaration> QDEffectFrame::GetExtraChunkDeclarations() const
{
    return {{QDChunkBlob, LSDFTypeBlob, "frame picture PNG"}};
}

bool QDEffectFrame::LoadFramePicture(int frame, LImageBuffer& picture)
{
    if (frame < 1 || frame > int(std::size(arFramePictures)))
        return false;
    return LImage::LoadResource(picture, arFramePictures[frame - 1].iResourceId, LImage::PNG) != 0 &&
           picture.IsValid();
}

bool QDEffectFrame::GetFramePicture(const QDEffectFrameProperties& p, LImageBuffer& picture) const
{
    if (p.iPicture > 0)
    {
        int32_t id = -1;
        {
            LLockObjectGuard guard(loPictures);
            if (size_t(p.iPicture) <= arPictureIds.size())
                id = arPictureIds[size_t(p.iPicture) - 1];
        }
        return id >= 0 && LQDCacheLoadImage(picture, id) && picture.IsValid();
    }
    return LoadFramePicture(p.iFrame, picture);
}

int32_t QDEffectFrame::AddPicture(const LImageBuffer& picture)
{
    const int32_t id = LQDCacheNewImage(picture);
    if (id < 0)
        return 0;
    LLockObjectGuard guard(loPictures);
    arPictureIds.push_back(id);
    return int32_t(arPictureIds.size());
}

bool QDEffectFrame::SetImage(const LImageBuffer& picture)
{
    const int32_t index = AddPicture(picture);
    if (!index)
        return false;
    QDEffectFrameProperties p = GetProperties();
    p.iPicture = index;
    InitProperties(p);
    return true;
}

void QDEffectFrame::SetFrame(int frame)
{
    QDEffectFrameProperties p = GetProperties();
    p.iFrame = std::clamp(frame, 1, int(std::size(arFramePictures)));
    p.iPicture = 0;
    SetProperties(p, true);
}

LProcessResult QDEffectFrame::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectFrameProperties p = GetPropertiesSnapshot();
    LImageBuffer picture;
    // Without a picture the photo passes as it is.
    if (!GetFramePicture(p, picture))
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    if (picture.GetPixelFormat() != B8G8R8A8)
    {
        LImageBuffer wide;
        if (!LImage::New(wide, picture.GetWidth(), picture.GetHeight(), B8G8R8A8) || !wide.IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        LConvertPixelFormat(wide, picture);
        picture.Assign(wide);
    }
    LImageBuffer fitted;
    LProcessInterfaceSubProcess scaling(process, 0.0, 0.6);
    LProcessResult r = LImage::Resize(scaling, picture, fitted, buffer.GetWidth(), buffer.GetHeight(), false,
                                      LImage::ResizeBilinear);
    if (r == LProcessResultSuccess && !fitted.IsValid())
        r = LProcessResultFailed;
    if (r == LProcessResultSuccess)
    {
        LImgProOverlay overlay(fitted, 0, 0);
        r = LApplyImageProcess(buffer, overlay, process);
    }
    if (r != LProcessResultSuccess)
    {
        if (r == LProcessResultFailed)
            process.SetError("Out of memory");
        return r;
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

bool QDEffectFrame::SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectFrameProperties& p)
{
    std::shared_ptr<const std::vector<uint8_t>> bytes;
    {
        LLockObjectGuard guard(loPictures);
        if (pEncoded && oEncodedFor == p)
            bytes = pEncoded;
    }
    if (!bytes)
    {
        LImageBuffer picture;
        if (!GetFramePicture(p, picture))
            return true;
        LOutputStream<LOutputStreamByteArray> stream;
        LProcessPNGSave<LOutputStreamByteArray> save;
        save.lpImage = &picture;
        save.lpStream = &stream;
        LProcessInterfaceVoid quiet;
        if (Process(quiet, save) != LProcessResultSuccess)
            return false;
        auto encoded = std::make_shared<std::vector<uint8_t>>();
        stream.GetArray().swap(*encoded);
        bytes = encoded;
        LLockObjectGuard guard(loPictures);
        pEncoded = bytes;
        oEncodedFor = p;
    }
    return writer.WriteBlob(QDChunkBlob, bytes->data(), bytes->size());
}

void QDEffectFrame::SDFLoadMoreProperty(LSDFMemoryReader&, const LSDFMemoryChunk& chunk,
                                        QDEffectFrameProperties& p)
{
    if (chunk.iId != QDChunkBlob)
        return;
    const uint8_t* data = nullptr;
    size_t size = 0;
    // A damaged picture leaves the program's frame in its place.
    if (!chunk.GetData(data, size) || !QDProjectFilePngIsPlausible(data, size))
        return;
    LImageBuffer picture;
    LInputStream<LInputStreamBuffer> stream;
    stream.SetBuffer(data, size);
    LProcessImageLoad<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.codec = LImageCodec(LImageCodecPNG);
    load.lpImage = &picture;
    LProcessInterfaceVoid quiet;
    if (Process(quiet, load) != LProcessResultSuccess || !picture.IsValid())
        return;
    if (const int32_t index = AddPicture(picture))
        p.iPicture = index;
}

QDEffectFrameFactory::QDEffectFrameFactory()
    : QDEffectFactory(QDEffectCatalogueFind(kCommandId)->szName,
                      QDEffectCatalogueFind(kCommandId)->szDescription,
                      QDEffectCatalogueFind(kCommandId)->sIconId, QDEffectTypeIdentifier(kCommandId))
{
}

QDImagePipelineElement* QDEffectFrameFactory::CreateLayer(QDProject& project, LWindow*, bool bAddUndo)
{
    return project.CreatePipelineElement<QDEffectFrame>(bAddUndo);
}

QDImagePipelineElement* QDEffectFrameFactory::CreateLayer(QDImagePipeline& pipeline)
{
    QDEffectFrame* element = new QDEffectFrame;
    pipeline.AddElement(element);
    return element;
}

QDImagePipelineElement* QDEffectFrameFactory::CreateLayer() const
{
    return new QDEffectFrame;
}

QDImagePipelineElement* QDEffectFrameFactory::CreateLayer(QDProject& project, LPtr<LImageBuffer>& picture,
                                                          bool bAddUndo)
{
    QDEffectFrame* element = new QDEffectFrame;
    if (picture && picture->IsValid())
        element->SetImage(*picture);
    picture.Reset();
    project.AddPipelineElement(element, bAddUndo);
    return element;
}
