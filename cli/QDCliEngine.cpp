#include "cli/QDCliEngine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sys/statvfs.h>
#include <unistd.h>

#include "codecs/LImage.h"
#include "document/DeleteFileThread.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LFile.h"

namespace
{
// The factory's table, seen through an element made for the purpose.
QDPropertyTable TableOf(const QDEffectFactory& factory, bool& applicable)
{
    QDImagePipelineElement* e = factory.CreateLayer();
    QDPropertyTable table;
    applicable = e && !e->bBaseElement;
    if (auto* w = dynamic_cast<QDWrappedPropertiesElement*>(e))
        table = w->GetPropertyTable();
    delete e;
    return table;
}

std::string SettableNames(QDPropertyTable table, const QDWrappedPropertiesElement* element)
{
    std::string names;
    for (const QDPropertyDesc& row : table)
        if (row.bSaved)
            names += (names.empty() ? "" : ", ") + std::string(row.szName);
    if (element)
        for (const QDTextProperty& t : element->GetTextProperties())
            names += (names.empty() ? "" : ", ") + std::string(t.szName);
    return names.empty() ? "none" : names;
}

const QDTextProperty* FindTextProperty(const QDWrappedPropertiesElement* element, const std::string& name)
{
    if (element)
        for (const QDTextProperty& t : element->GetTextProperties())
            if (name == t.szName)
                return &t;
    return nullptr;
}
} // namespace

// The picture cache of a run lives and dies with it, so memory serves it better than a disk:
// /dev/shm when it has room for a few dozen full-size pictures and TMPDIR names no folder.
static bool CacheFolder(char* folder)
{
    struct statvfs fs;
    const char* tmpdir = getenv("TMPDIR");
    if ((!tmpdir || !*tmpdir) && statvfs("/dev/shm", &fs) == 0 &&
        uint64_t(fs.f_bavail) * fs.f_frsize >= (uint64_t(4) << 30) && access("/dev/shm", W_OK) == 0)
    {
        strcpy(folder, "/dev/shm");
        return true;
    }
    return LFile::GetTempFolder(folder);
}

QDCliEngine::QDCliEngine(bool bPrivateData)
{
    char folder[LFILE_MAX_PATH];
    if (!CacheFolder(folder))
        return;
    std::string root = std::string(folder) + "/quendrel-cli-XXXXXX";
    if (!mkdtemp(root.data()))
        return;
    szRoot = root;
    // Cache ids are file names: two processes sharing a folder would overwrite each other's.
    setenv("XDG_CACHE_HOME", szRoot.c_str(), 1);
    if (bPrivateData)
        setenv("XDG_DATA_HOME", szRoot.c_str(), 1);
    deleteThread.StartThread(LThreadPriorityNormal);
    catalogue.Register();
    bReady = true;
}

QDCliEngine::~QDCliEngine()
{
    deleteThread.StopThreadNow();
    std::error_code ec;
    if (!szRoot.empty())
        std::filesystem::remove_all(szRoot, ec);
}

bool QDCliEngine::ParseEffects(int argc, char** argv, std::vector<QDCliEffectArgument>& effects) const
{
    for (int a = 0; a < argc; ++a)
    {
        std::string arg = argv[a];
        const size_t colon = arg.find(':');
        const std::string name = arg.substr(0, colon);
        QDCliEffectArgument effect;
        effect.lpFactory = catalogue.MapTypeIdToEffectFactory(name.c_str());
        bool applicable = false;
        const QDPropertyTable table =
            effect.lpFactory ? TableOf(*effect.lpFactory, applicable) : QDPropertyTable();
        if (!applicable)
        {
            std::string valid;
            for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f; f = f->GetNextItem())
            {
                bool ok = false;
                TableOf(*f, ok);
                if (ok)
                    valid += (valid.empty() ? "" : ", ") + std::string(f->szTypeIdentifier);
            }
            const QDEffectCatalogueRow* row = QDEffectCatalogueFindType(name.c_str());
            if (effect.lpFactory)
                fprintf(stderr, "quendrel-cli: \"%s\" can't be applied", name.c_str());
            else if (row)
                fprintf(stderr, "quendrel-cli: \"%s\" is not available yet", name.c_str());
            else
                fprintf(stderr, "quendrel-cli: unknown effect \"%s\"", name.c_str());
            fprintf(stderr, "; the effects are: %s\n", valid.c_str());
            return false;
        }
        for (size_t at = colon; at != std::string::npos && at < arg.size();)
        {
            const size_t next = arg.find(',', at + 1);
            const std::string pair =
                arg.substr(at + 1, next == std::string::npos ? std::string::npos : next - at - 1);
            at = next;
            if (pair.empty())
                continue;
            const size_t eq = pair.find('=');
            const std::string key = pair.substr(0, eq);
            const long row = table.FindByName(key.c_str());
            if (row < 0 || !table[size_t(row)].bSaved)
            {
                // A property held as text is tried on an element of its own, which reads it.
                std::unique_ptr<QDImagePipelineElement> probe(effect.lpFactory->CreateLayer());
                auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(probe.get());
                const QDTextProperty* text = FindTextProperty(wrapped, key);
                if (!text)
                {
                    fprintf(stderr, "quendrel-cli: %s has no property \"%s\"; its properties are: %s\n",
                            name.c_str(), key.c_str(), SettableNames(table, wrapped).c_str());
                    return false;
                }
                const std::string value = eq == std::string::npos ? std::string() : pair.substr(eq + 1);
                if (!wrapped->SetTextProperty(text->szName, value.c_str(), false))
                {
                    fprintf(stderr, "quendrel-cli: %s:%s takes %s (for instance %s), not \"%s\"\n",
                            name.c_str(), key.c_str(), text->szSyntax, text->szExample, value.c_str());
                    return false;
                }
                effect.vTexts.push_back({key, value});
                continue;
            }
            const QDPropertyDesc& d = table[size_t(row)];
            double v;
            if (eq == std::string::npos || !QDPropertyParse(d, pair.c_str() + eq + 1, v) || v < d.dMin ||
                v > d.dMax)
            {
                const char* given = eq == std::string::npos ? "" : pair.c_str() + eq + 1;
                if (d.eType == QDPropertyBool)
                    fprintf(stderr, "quendrel-cli: %s:%s takes true or false, not \"%s\"\n", name.c_str(),
                            key.c_str(), given);
                else
                    fprintf(stderr, "quendrel-cli: %s:%s takes %s from %s to %s, not \"%s\"\n", name.c_str(),
                            key.c_str(), d.eType == QDPropertyInt ? "a whole number" : "a number",
                            QDPropertyFormat(d, d.dMin).c_str(), QDPropertyFormat(d, d.dMax).c_str(), given);
                return false;
            }
            effect.vValues.push_back({size_t(row), v});
        }
        effects.push_back(std::move(effect));
    }
    return true;
}

QDProject* QDCliEngine::MakeProject(QDCliProcess& process, const char* path,
                                    const std::vector<QDCliEffectArgument>& effects)
{
    LImageBuffer image;
    LImageMetadata metadata;
    if (LImage::Load(process, image, metadata, path) == 0 || !image.IsValid())
    {
        if (process.szError.empty())
            process.SetError("The image could not be loaded.");
        return nullptr;
    }
    QDProject* project = new QDProject(unsigned(image.GetWidth()), unsigned(image.GetHeight()));
    project->metadata = std::move(metadata);
    QDOriginalImageFactory::CreateLayer(*project, image, false, true, path);
    image.Destroy();
    for (const QDCliEffectArgument& effect : effects)
    {
        QDImagePipelineElement* e = effect.lpFactory->CreateLayer(*project, nullptr, false);
        auto* w = dynamic_cast<QDWrappedPropertiesElement*>(e);
        for (const auto& [row, value] : effect.vValues)
            if (w)
                w->SetPropertyValue(row, value, false);
        for (const auto& [key, text] : effect.vTexts)
            if (w)
                w->SetTextProperty(key.c_str(), text.c_str(), false);
        // The page follows the size the pipeline yields, as the desktop program's does after a
        // render, so an effect after a crop or a resize starts from the new size.
        unsigned width, height;
        project->GetDimensions(width, height);
        if (width > 0 && height > 0)
            project->viewport.SetDimensions(width, height, ANCHOR_TOPLEFT);
    }
    return project;
}

bool QDCliEngine::Render(QDCliProcess& process, QDProject& project, LImageBuffer& out)
{
    QDProject* projects = &project;
    QDImagePipelineElementProcessingThread thread(&projects);
    project.bRenderRequested = true;
    // The desktop program renders below normal priority to keep its window responsive; here
    // nothing else waits, so the thread runs as the command itself does.
    thread.lpCurrentProject = &project;
    out.Destroy();
    thread.lpKeepHighRes = &out;
    thread.Start(LThreadPriorityNormal);
    thread.WaitToStop();
    // What the cache would give back, unless the render left something else in the buffer.
    if (out.IsValid() && out.GetPixelFormat() != B8G8R8A8)
        out.Destroy();
    if (project.bRenderRequested ||
        (!out.IsValid() && (!LQDCacheLoadImage(out, project.iHighResCacheId) || !out.IsValid())))
    {
        process.SetError(!project.strRenderError.IsEmpty() ? project.strRenderError.GetString()
                                                           : "Image render failed.");
        return false;
    }
    return true;
}

bool QDCliTakeEncodeOptions(std::vector<char*>& args, LImageEncodeSettings& settings)
{
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (strcmp(args[i], "--quality") != 0)
            continue;
        char* end = nullptr;
        const long q = i + 1 < args.size() ? strtol(args[i + 1], &end, 10) : -1;
        if (!end || *end || q < 0 || q > 100)
        {
            fprintf(stderr, "quendrel-cli: --quality takes a number from 0 to 100\n");
            return false;
        }
        settings.jpeg.SetQuality(int(q));
        settings.webp.iQuality = q < 1 ? 1 : int(q);
        settings.avif.iQuality = int(q);
        settings.heic.iQuality = int(q);
        settings.jxl.iQuality = q > 99 ? 99 : int(q);
        args.erase(args.begin() + long(i), args.begin() + long(i) + 2);
        --i;
    }
    return true;
}
