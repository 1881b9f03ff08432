#pragma once
// Frame: a picture frame laid over the photo. The frame is a picture with a transparent opening,
// stretched to the photo's size; the program brings a set of its own, and a project keeps the
// frame it uses in its file, so it opens the same anywhere.

#include <memory>
#include <vector>

#include "document/QDEffectFactory.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LPtr.h"
#include "foundation/LSignal.h"

struct QDEffectFrameProperties
{
    int32_t iFrame = 1;   // the program's frame, from 1
    int32_t iPicture = 0; // from 1: a picture of the element's own, which the frame number gives way to
    bool operator==(const QDEffectFrameProperties&) const = default;
};

// The program's frames: resource pictures under resources/png.
struct QDFramePicture
{
    int iResourceId;
    const char* szName;
};
extern const QDFramePicture arFramePictures[6];

class QDEffectFrame : public QDImagePipelineElementWithWrappedProperties<QDEffectFrameProperties>
{
public:
    QDEffectFrame();
    ~QDEffectFrame() override;

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // Keeps picture in the image cache as the element's own frame and shows it, without an undo
    // item. False when the cache can't take it.
    bool SetImage(const LImageBuffer& picture);
    // Chooses one of the program's frames, with an undo item.
    void SetFrame(int frame);
    // The frame picture the properties stand for; invalid when there is none.
    bool GetFramePicture(const QDEffectFrameProperties& p, LImageBuffer& picture) const;
    static bool LoadFramePicture(int frame, LImageBuffer& picture);

protected:
    // The picture in use as PNG, blob 7.
    bool SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectFrameProperties& p) override;
    void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                             QDEffectFrameProperties& p) override;

private:
    // Index of the stored picture, from 1, or 0 when the cache can't take it.
    int32_t AddPicture(const LImageBuffer& picture);

    mutable LLockObject loPictures;
    // Cache ids of the element's own pictures; undo can go back to any of them.
    std::vector<int32_t> arPictureIds;
    // The PNG of the picture last saved, by the properties that chose it: the recovery file is
    // written after every render, and the frame seldom changes.
    QDEffectFrameProperties oEncodedFor{-1, -1};
    std::shared_ptr<const std::vector<uint8_t>> pEncoded;
};

// Its catalogue row is 6051.
class QDEffectFrameFactory : public QDEffectFactory
{
public:
    QDEffectFrameFactory();
    QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) override;
    QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) override;
    QDImagePipelineElement* CreateLayer() const override;
    // With a frame picture of the caller's, which the element takes.
    QDImagePipelineElement* CreateLayer(QDProject& project, LPtr<LImageBuffer>& picture, bool bAddUndo);
};
