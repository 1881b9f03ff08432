#pragma once
// The batch editor's shared state: the effects offered and chosen, the input files, the script
// file and the output options. The caller (the main window, or the command line) owns it for the
// wizard's life; the run reads it and reports on each file through its items.

#include <cstddef>
#include <string>
#include <vector>

#include "codecs/LImageEncodeSettings.h"
#include "document/QDImagePipelineElement.h"
#include "foundation/LFile.h"
#include "foundation/LList.h"

class QDEffectFactory;

// Room for any path the system accepts; a longer one is refused, never cut.
constexpr size_t QD_BATCH_PATH_SIZE = LFILE_MAX_PATH;

// What the last run did with a file.
enum QDBatchItemOutcome : int
{
    QDBatchItemPending = 0,   // not reached: the run ended before it
    QDBatchItemWritten = 1,   // the output is in place
    QDBatchItemSkipped = 2,   // its format isn't written back (bValidOutput false)
    QDBatchItemNotLoaded = 3, // the input couldn't be read; the run went on
    QDBatchItemFailed = 4,    // rendering, encoding or writing failed, which ended the run
    QDBatchItemStopped = 5,   // stopped by the user while it was under way
};

class BatchFileItem : public LListItem<BatchFileItem>
{
public:
    BatchFileItem() = default;
    // False when the path doesn't fit.
    bool SetFilePath(const char* path);
    // BMP, GIF, JPEG, PNG or TIFF by the extension: the formats written back.
    bool IsValidOutputFormat() const;

    char szFilePath[QD_BATCH_PATH_SIZE] = {};
    // Set false by the run when the file can't be written.
    mutable bool bValidOutput = true;
    // Written by the run: what became of the file, the path it was written to, and the reason
    // when it wasn't.
    mutable QDBatchItemOutcome eOutcome = QDBatchItemPending;
    mutable std::string szOutputPath;
    mutable std::string szReason;
};

class QDBatchFile
{
public:
    char szFilePath[QD_BATCH_PATH_SIZE] = {}; // empty for a list never saved
    bool bDirty = false;
};

// The four settings of the section "BatchEditor".
struct QDBatchOutputSettings
{
    bool bSaveSameFileFormat = true; // each file in its own format
    int iSaveFileFormat = 0;         // the codec to convert to otherwise
    bool bSameOutputFolder = true;   // beside the input
    char szOutputFolder[QD_BATCH_PATH_SIZE] = {};

    void Load();
    void Save() const;
};
extern const char kQDBatchSection[]; // "BatchEditor"

// Told about each file as the run settles it, on the thread that runs the process, in the
// order of the list.
class QDBatchRunObserver
{
public:
    virtual ~QDBatchRunObserver() = default;
    virtual void EvBatchItemDone(const BatchFileItem& item) = 0;
};

class QDBatchStateData
{
public:
    QDBatchStateData() = default;
    QDBatchStateData(const QDBatchStateData&) = delete;
    QDBatchStateData& operator=(const QDBatchStateData&) = delete;

    // Offers a factory to the effect chooser; called in the batch offering order.
    void AddAvailableEffect(QDEffectFactory* factory);
    // Among the offered factories, by exact type key; null when none.
    QDEffectFactory* FindAvailableEffect(const char* typeIdentifier) const;

    // Appends the file when its extension names a codec; otherwise ignores it quietly. Duplicates
    // are not looked for. Null when ignored.
    BatchFileItem* AddFile(const char* path);
    // Every entry of the folder but "." and "..", through AddFile, and sub-folders to any depth
    // (a folder met twice through links is walked once). Names in each folder in byte order.
    // Returns the number of files added.
    size_t AddFolder(const char* path);
    // Removes the first item whose path equals path without regard to case.
    bool RemoveFile(const char* path);
    // The elements' owner takes them; the old ones are deleted.
    void ReplaceEffects(LList<QDImagePipelineElement>& replacement);

    std::vector<QDEffectFactory*> availableEffects;
    LList<QDImagePipelineElement> effects;
    LList<BatchFileItem> BatchFileList;
    void* hwndParent = nullptr; // the window alerts stand over; the ui layer's to interpret
    QDBatchFile batchFile;
    char szPreviewFile[QD_BATCH_PATH_SIZE] = {};
    char szInputFolder[QD_BATCH_PATH_SIZE] = {};
    char szOutputFolder[QD_BATCH_PATH_SIZE] = {};
    int codecID = 3; // whose options the format options dialog edits
    bool bBMP_Alpha = false;
    bool bGIF_Fast = true;
    bool bGIF_Dither = false;
    int iJPEG_Quality = 90;

    // What the run uses; the wizard reads and writes them to the settings.
    QDBatchOutputSettings output;
    // Options of the formats the list above has none for (JPEG 2000, WebP, PNM and so on).
    LImageEncodeSettings encodeSettings;
    // The program's factories, for elements that hold others when a script is read; may be null.
    const LList<QDEffectFactory>* lpFactories = nullptr;
    // Files decoded, rendered and encoded at once; 0 is one per processor.
    int iConcurrentFiles = 0;
    // How many the last run took at once, for whoever measures it.
    mutable int iFilesAtOnce = 0;
    QDBatchRunObserver* lpObserver = nullptr;
};

class QDEffectCatalogue;
// Offers the catalogue's batch effects in the batch order and lends the state its factories.
void QDBatchStateInitFromCatalogue(QDBatchStateData& state, const QDEffectCatalogue& catalogue);
