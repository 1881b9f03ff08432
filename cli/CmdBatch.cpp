// quendrel-cli batch: the batch editor's run without a window.
//
//   batch SCRIPT.qdb [--out DIR] [--format EXT] [--quality N] [--jobs N] FILE|FOLDER|- ...
//   batch --write-script SCRIPT.qdb EFFECT[:key=value,...] ...
//
// Each file gets one line as it is settled, in the order given: "FILE: ok -> OUTPUT",
// "FILE: skipped: reason" or "FILE: failed: reason", then a summary. "-" reads one path a line
// from standard input, so that GNU parallel or xargs can hand out the files. Without --out the
// outputs go beside the inputs, and without --format each keeps its own format: the input is then
// replaced. Exit status 0 when nothing failed, 1 when stopped (SIGINT, SIGTERM), 2 when any file
// failed.

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchScript.h"
#include "cli/QDCliCommand.h"
#include "cli/QDCliEngine.h"
#include "codecs/LImageCodec.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

namespace
{
std::atomic<bool> gStop{false};

void OnSignal(int)
{
    gStop = true;
}

// Stops when the user interrupts the command.
class BatchCliProcess : public QDCliProcess
{
public:
    bool IsToStop() override { return gStop.load(); }
};

struct Tally
{
    size_t nOk = 0, nSkipped = 0, nFailed = 0;
};

void PrintLine(const std::string& line)
{
    // One write a line, so that lines of processes sharing a pipe don't mix.
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}

class Printer : public QDBatchRunObserver
{
public:
    explicit Printer(Tally& t) : rTally(t) {}
    void EvBatchItemDone(const BatchFileItem& item) override
    {
        std::string line = std::string(item.szFilePath) + ": ";
        switch (item.eOutcome)
        {
        case QDBatchItemWritten:
            line += "ok -> " + item.szOutputPath;
            ++rTally.nOk;
            break;
        case QDBatchItemSkipped:
            line += "skipped: " + item.szReason;
            ++rTally.nSkipped;
            break;
        default:
            line += "failed: " + item.szReason;
            ++rTally.nFailed;
            break;
        }
        PrintLine(line + "\n");
    }
    Tally& rTally;
};

bool ParseInt(const char* text, int minimum, int maximum, int& out)
{
    char* end = nullptr;
    const long v = text ? strtol(text, &end, 10) : 0;
    if (!text || !*text || *end || v < minimum || v > maximum)
        return false;
    out = int(v);
    return true;
}

// "jpg", ".jpg" or "JPG": a codec the program can write.
bool ParseFormat(const char* text, int& codecId)
{
    std::string name = std::string("x") + (text[0] == '.' ? "" : ".") + text;
    LImageCodec codec;
    LImageCodecVetoer all;
    if (!codec.InitFromFilePath(name.c_str()) || !all.IsEnabled(codec, LImageIOWrite))
    {
        std::string valid;
        for (int id = 0; id < LImageCodecCount; ++id)
            if (all.IsEnabled(LImageCodec(id), LImageIOWrite))
                valid +=
                    (valid.empty() ? "" : ", ") + std::string(LImageCodec(id).GetPreferredExtension() + 1);
        fprintf(stderr, "quendrel-cli: --format takes one of %s, not \"%s\"\n", valid.c_str(), text);
        return false;
    }
    codecId = codec.id;
    return true;
}

int WriteScript(int argc, char** argv)
{
    if (argc < 3)
        return QDCliUsage();
    QDCliEngine engine;
    QDCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    std::vector<QDCliEffectArgument> parsed;
    if (!engine.ParseEffects(argc - 3, argv + 3, parsed))
        return 2;
    LList<QDImagePipelineElement> elements;
    for (const QDCliEffectArgument& a : parsed)
    {
        bool offered = false;
        for (QDEffectFactory* f : engine.catalogue.vBatchFactories)
            offered |= f == a.lpFactory;
        if (!offered)
        {
            std::string valid;
            for (QDEffectFactory* f : engine.catalogue.vBatchFactories)
                valid += (valid.empty() ? "" : ", ") + std::string(f->szTypeIdentifier);
            fprintf(stderr, "quendrel-cli: \"%s\" is not offered for batches; the batch effects are: %s\n",
                    a.lpFactory->szTypeIdentifier, valid.c_str());
            return 2;
        }
        QDImagePipelineElement* e = a.lpFactory->CreateLayer();
        if (auto* w = dynamic_cast<QDWrappedPropertiesElement*>(e))
            for (const auto& [row, value] : a.vValues)
                w->SetPropertyValue(row, value, false);
        elements.AddTail(e);
    }
    if (QDBatchScriptSave(process, argv[2], elements) != LProcessResultSuccess)
        return process.Fail("File could not be written.");
    return 0;
}

int Run(int argc, char** argv)
{
    const char* script = nullptr;
    const char* outFolder = nullptr;
    int format = -1, quality = -1, jobs = 0;
    std::vector<std::string> inputs;
    bool readStdin = false;
    for (int i = 1; i < argc; ++i)
    {
        const char* a = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (strcmp(a, "--out") == 0 && value)
            outFolder = value, ++i;
        else if (strcmp(a, "--format") == 0 && value)
        {
            if (!ParseFormat(value, format))
                return 2;
            ++i;
        }
        else if (strcmp(a, "--quality") == 0)
        {
            if (!ParseInt(value, 0, 100, quality))
            {
                fprintf(stderr, "quendrel-cli: --quality takes a number from 0 to 100\n");
                return 2;
            }
            ++i;
        }
        else if (strcmp(a, "--jobs") == 0)
        {
            if (!ParseInt(value, 1, 64, jobs))
            {
                fprintf(stderr, "quendrel-cli: --jobs takes a number from 1 to 64\n");
                return 2;
            }
            ++i;
        }
        else if (strcmp(a, "-") == 0)
            readStdin = true;
        else if (strncmp(a, "--", 2) == 0 && a[2])
            return QDCliUsage();
        else if (!script)
            script = a;
        else
            inputs.emplace_back(a);
    }
    if (!script || (inputs.empty() && !readStdin))
        return QDCliUsage();
    if (readStdin)
        for (std::string line; std::getline(std::cin, line);)
            if (!line.empty())
                inputs.push_back(line);

    QDCliEngine engine;
    BatchCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    QDBatchStateData state;
    QDBatchStateInitFromCatalogue(state, engine.catalogue);
    state.iConcurrentFiles = jobs;
    QDBatchFileLoadData load(state);
    if (strlen(script) >= sizeof(load.szFilePath))
        return process.Fail("The file could not be found.");
    strcpy(load.szFilePath, script);
    if (Process(process, load) != LProcessResultSuccess)
        return process.Fail("The batch script could not be read.");

    if (outFolder)
    {
        std::error_code ec;
        std::filesystem::create_directories(outFolder, ec);
        if (!LFile::TestFolderExists(outFolder) || strlen(outFolder) >= sizeof(state.output.szOutputFolder))
        {
            fprintf(stderr, "Unable to create folder.\n");
            return 2;
        }
        state.output.bSameOutputFolder = false;
        strcpy(state.output.szOutputFolder, outFolder);
    }
    if (format >= 0)
    {
        state.output.bSaveSameFileFormat = false;
        state.output.iSaveFileFormat = format;
    }
    if (quality >= 0)
    {
        state.iJPEG_Quality = quality;
        state.encodeSettings.jpeg.SetQuality(quality);
        state.encodeSettings.jpeg2000.iQuality = quality;
        state.encodeSettings.webp.iQuality = quality < 1 ? 1 : quality;
    }

    Tally tally;
    for (const std::string& in : inputs)
    {
        if (LFile::IsFolder(in.c_str()))
            state.AddFolder(in.c_str());
        else if (!state.AddFile(in.c_str()))
        {
            PrintLine(in + ": skipped: The file type is not recognized.\n");
            ++tally.nSkipped;
        }
    }
    Printer printer(tally);
    state.lpObserver = &printer;
    signal(SIGINT, OnSignal);
    signal(SIGTERM, OnSignal);
    const LProcessResult r = Process(process, state);
    // Files the run didn't reach.
    for (BatchFileItem* item = state.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        if (item->eOutcome == QDBatchItemPending || item->eOutcome == QDBatchItemStopped)
        {
            PrintLine(std::string(item->szFilePath) + ": skipped: " +
                      (r == LProcessResultCancelled ? "the batch was stopped"
                                                    : "the batch ended before this file") +
                      "\n");
            ++tally.nSkipped;
        }
    if (r == LProcessResultFailed && !process.szError.empty())
        fprintf(stderr, "%s\n", process.szError.c_str());
    printf("%zu ok, %zu skipped, %zu failed%s\n", tally.nOk, tally.nSkipped, tally.nFailed,
           r == LProcessResultCancelled ? ", stopped" : "");
    if (r == LProcessResultCancelled)
        return 1;
    return r == LProcessResultFailed || tally.nFailed ? 2 : 0;
}

int CmBatch(int argc, char** argv)
{
    if (argc >= 2 && strcmp(argv[1], "--write-script") == 0)
        return WriteScript(argc, argv);
    return Run(argc, argv);
}
} // namespace

static QDCliCommandRegistrar
    registrar("batch",
              "batch SCRIPT.qdb [--out DIR] [--format EXT] [--quality N] [--jobs N] "
              "FILE|FOLDER|- ...\n"
              "       quendrel-cli batch --write-script SCRIPT.qdb EFFECT[:key=value,...] ...",
              CmBatch);
