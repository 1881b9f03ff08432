#pragma once
// The batch script ".qdb": the effect list in the SDF container, file type 2. For each element in
// order one container 2 holding chunk 3 (the type key) and then chunk 1 (the properties), as the
// element writes them into a project.
//
// Reading takes the type keys among the effects the batch editor offers. A script naming one
// this program doesn't offer is refused whole (result 2, with the key in the message) rather than
// run with an effect left out: a batch may replace the user's originals, and a list that is not
// the one saved must not reach them. A refused script leaves the effects as they were.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "batch/QDBatchState.h"
#include "foundation/LProcessInterface.h"

constexpr uint32_t kQDBatchFileType = 2;
constexpr uint16_t kQDBatchFileVersion = 0;

struct QDBatchFileLoadData
{
    explicit QDBatchFileLoadData(QDBatchStateData& s) : state(s) {}
    QDBatchStateData& state;
    char szFilePath[QD_BATCH_PATH_SIZE] = {};
};

struct QDBatchFileSaveData
{
    explicit QDBatchFileSaveData(QDBatchStateData& s) : state(s) {}
    QDBatchStateData& state;
    char szFilePath[QD_BATCH_PATH_SIZE] = {};
};

// On success the state's effects are the file's, and its script path is this one, not dirty.
LProcessResult Process(LProcessInterface& process, QDBatchFileLoadData& data);
// Written whole or not at all; on success the script path is this one, not dirty.
LProcessResult Process(LProcessInterface& process, QDBatchFileSaveData& data);

// Reads a script's bytes into elements made by the offered factories. factories may be null
// (elements that hold others then read without them). On failure elements is left empty.
LProcessResult QDBatchScriptLoadMemory(LProcessInterface& process, const uint8_t* data, size_t size,
                                       const std::vector<QDEffectFactory*>& available,
                                       const LList<QDEffectFactory>* factories,
                                       LList<QDImagePipelineElement>& elements);
// Writes a list of elements as a script at path.
LProcessResult QDBatchScriptSave(LProcessInterface& process, const char* path,
                                 const LList<QDImagePipelineElement>& elements);
