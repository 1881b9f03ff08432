// The clipboard: the rendered picture (or an overlay's own) out, a picture in as a new project.
// The window's clipboard carries the pixels in the forms other programs read (PNG among them).

#include <cstring>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "document/LQDCacheStore.h"

namespace
{
bool HasVisiblePixel(const LImageBuffer& image)
{
    if (!image.IsValid() || image.GetPixelFormat() != B8G8R8A8)
        return false;
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        const uint8_t* row = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x)
            if (row[4 * x + 3] != 0)
                return true;
    }
    return false;
}
} // namespace

void MainDialog::CmClipboardCopy()
{
    QDProject* project = pCurrentProject;
    if (!project || !lpHost)
        return;
    if (const QDImagePipelineElement* selected = GetSelectedElement())
    {
        const char* type = selected->GetTypeIdentifier();
        if (strcmp(type, "image") == 0)
        {
            LImageBuffer image;
            if (LQDCacheLoadImage(image, selected->iHighResCacheId) && image.IsValid())
                lpHost->ClipboardSetImage(image);
            return;
        }
        if (strcmp(type, "text") == 0)
            return;
    }
    // The picture as the pipeline makes it, once the render in progress is done.
    if (threadRender.IsRunning() &&
        lpHost->RunProcessDialog("Copying image", [this](LProcessInterface& p)
                                 { return Process(p, threadRender); }) != LProcessResultSuccess)
        return;
    LImageBuffer image;
    if (LQDCacheLoadImage(image, project->iHighResCacheId) && HasVisiblePixel(image))
    {
        lpHost->ClipboardSetImage(image);
        EnableControls();
        return;
    }
    Alert(LAlertKindError, "Could not copy to clipboard",
          "Could not copy to clipboard because the image is empty.", {"OK"});
}

void MainDialog::CmClipboardCut()
{
    QDImagePipelineElement* selected = GetSelectedElement();
    if (!pCurrentProject || !selected)
        return;
    // Without a selection only an overlay image can be cut: copied, then deleted.
    if (strcmp(selected->GetTypeIdentifier(), "image") == 0)
    {
        CmClipboardCopy();
        CmDelete();
        EvRenderProject();
    }
}

void MainDialog::CmClipboardPaste()
{
    // FIXME: a picture is pasted as an overlay image and text as a text layer; both wait for the
    // layers. Until then the command stays disabled.
    if (!pCurrentProject || !lpHost || !IsCommandAvailable(CM_PASTE))
        return;
}

void MainDialog::CmClipboardPasteImageNewProject()
{
    if (!lpHost)
        return;
    LImageBuffer image;
    if (!lpHost->ClipboardGetImage(image) || !image.IsValid())
        return;
    if (AddProjectFromImage(image, nullptr))
        EvRenderProject();
    EnableControls();
}
