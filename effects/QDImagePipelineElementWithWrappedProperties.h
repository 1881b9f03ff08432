#pragma once
// The base of effects that hold a small value type of properties, with its undo rules.
//
// Two values are kept: oProperties, what rendering reads, and oPropertiesRegistered, what the undo
// stack knows. During a live slider drag the panel calls SetProperties(value, false) for each
// move, which changes only the first; the drag's end calls SetProperties(value, true), which adds
// one undo item from the registered value to the new one, or none when the drag came back to
// where it started.
//
// The main thread writes the properties while the render thread may be rendering: writes happen
// under loProperties, and every render works from GetPropertiesSnapshot() taken at its start.
// Because SetDirty follows the write, a render that took its snapshot before a change finds the
// element's change counter moved and its output is thrown away.

#include <cstdio>
#include <span>
#include <string>
#include <vector>

#include "document/LUndoRedo.h"
#include "document/QDImagePipelineElement.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectProperty.h"
#include "foundation/LNotifier.h"
#include "foundation/LSignal.h"

// A chunk an element writes beyond its table (a colour container, a list), declared for the
// test that keeps chunk ids one namespace.
struct QDChunkDeclaration
{
    uint16_t iChunkId;
    uint16_t iType; // LSDFChunkType
    const char* szMeaning;
};

// A property that no table row can hold (the points of a curve, the levels of a channel), read and
// written as text: how the command line reaches it. szExample is a valid value other than the
// default, for help texts and the tests.
struct QDTextProperty
{
    const char* szName;
    const char* szSyntax;
    const char* szExample;
};

// What panels, the command line and the tests see of any wrapped element, whatever its T. The
// notifier fires after every change of the properties, undo and redo included, on the main thread.
class QDWrappedPropertiesElement : public QDImagePipelineElement, public LNotifier<QDWrappedPropertiesElement>
{
public:
    virtual QDPropertyTable GetPropertyTable() const = 0;
    virtual std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const { return {}; }
    virtual std::span<const QDTextProperty> GetTextProperties() const { return {}; }
    // Through SetProperties; false, changing nothing, for a name it lacks or text it can't read.
    virtual bool SetTextProperty(const char* name, const char* text, bool bRegisterUndo)
    {
        (void)name, (void)text, (void)bRegisterUndo;
        return false;
    }
    // Empty for a name it lacks.
    virtual std::string GetTextProperty(const char* name) const
    {
        (void)name;
        return {};
    }
    // Row index of the table.
    virtual double GetPropertyValue(size_t index) const = 0;
    // Changes one property of the current value through SetProperties.
    virtual void SetPropertyValue(size_t index, double value, bool bRegisterUndo,
                                  LUndoRedoGroup* lpGroup = nullptr) = 0;
    // Back to the table's defaults through SetProperties: the panel's Reset.
    virtual void ResetProperties(bool bRegisterUndo) = 0;
    virtual bool IsAtDefaults() const = 0;
    // After a drag: one undo item from the registered value to the current one, if they differ.
    virtual void DispatchUndoRedoItemForUnregisteredChanges() = 0;
};

template <class T>
class QDImagePipelineElementWithWrappedProperties;

template <class T>
class QDImagePipelineElementWrappedPropertiesUndoRedo : public LUndoRedoItem
{
public:
    QDImagePipelineElementWrappedPropertiesUndoRedo(QDImagePipelineElementWithWrappedProperties<T>* element,
                                                    const T& before, const T& after)
        : lpElement(element), oBefore(before), oAfter(after)
    {
    }
    void Undo() override { Apply(oBefore); }
    void Redo() override { Apply(oAfter); }
    void GetName(char* name) override { snprintf(name, LUNDO_NAME_SIZE, "%s", lpElement->GetName()); }

    QDImagePipelineElementWithWrappedProperties<T>* lpElement;
    T oBefore;
    T oAfter;

private:
    // EvPropertiesChanged runs twice: once inside InitProperties, once more here; the second only
    // marks the element dirty and notifies again.
    void Apply(const T& value)
    {
        const T kept = lpElement->GetProperties();
        lpElement->InitProperties(value);
        lpElement->EvPropertiesChanged(kept);
    }
};

template <class T>
class QDImagePipelineElementWithWrappedProperties : public QDWrappedPropertiesElement
{
public:
    using Properties = T;
    using UndoRedo = QDImagePipelineElementWrappedPropertiesUndoRedo<T>;

    // Both values start at the table's defaults.
    explicit QDImagePipelineElementWithWrappedProperties(QDPropertyTable table) : oTable(table)
    {
        QDPropertiesSetDefaults(&oProperties, oTable);
        oPropertiesRegistered = oProperties;
    }

    void SetProperties(const T& oNew, bool bRegisterUndo, LUndoRedoGroup* lpGroup = nullptr)
    {
        if (oNew == oProperties && !lpGroup)
        {
            if (!bRegisterUndo || oNew == oPropertiesRegistered)
                return;
            DispatchUndoRedoItemForUnregisteredChanges();
            return;
        }
        if (bRegisterUndo)
        {
            if (lpGroup)
                lpGroup->AddItem<UndoRedo>(this, oPropertiesRegistered, oNew);
            else if (lpUndoStack)
                lpUndoStack->AddItem<UndoRedo>(this, oPropertiesRegistered, oNew);
            oPropertiesRegistered = oNew;
        }
        const T old = oProperties;
        Assign(oNew);
        EvPropertiesChanged(old);
    }
    // Both values, no undo: loading and undo use it.
    void InitProperties(const T& oNew)
    {
        const T old = oProperties;
        oPropertiesRegistered = oNew;
        Assign(oNew);
        EvPropertiesChanged(old);
    }
    void DispatchUndoRedoItemForUnregisteredChanges() override
    {
        if (oProperties == oPropertiesRegistered)
            return;
        if (lpUndoStack)
            lpUndoStack->AddItem<UndoRedo>(this, oPropertiesRegistered, oProperties);
        oPropertiesRegistered = oProperties;
    }
    // Marks the element dirty and tells the notifyees. An override calls this one.
    virtual void EvPropertiesChanged(const T& oOldProperties)
    {
        (void)oOldProperties;
        SetDirty();
        Notify();
    }

    // Main thread only, where the properties are written.
    const T& GetProperties() const { return oProperties; }
    const T& GetRegisteredProperties() const { return oPropertiesRegistered; }
    // Any thread; what a render works from.
    T GetPropertiesSnapshot() const
    {
        LLockObjectGuard guard(loProperties);
        return oProperties;
    }
    T GetDefaultProperties() const
    {
        T d{};
        QDPropertiesSetDefaults(&d, oTable);
        return d;
    }

    QDPropertyTable GetPropertyTable() const override { return oTable; }
    double GetPropertyValue(size_t index) const override
    {
        const T p = GetPropertiesSnapshot();
        return index < oTable.size() ? QDPropertyGet(&p, oTable[index]) : 0.0;
    }
    void SetPropertyValue(size_t index, double value, bool bRegisterUndo,
                          LUndoRedoGroup* lpGroup = nullptr) override
    {
        if (index >= oTable.size())
            return;
        T p = oProperties;
        QDPropertySet(&p, oTable[index], value);
        SetProperties(p, bRegisterUndo, lpGroup);
    }
    void ResetProperties(bool bRegisterUndo) override
    {
        SetProperties(GetDefaultProperties(), bRegisterUndo);
    }
    bool IsAtDefaults() const override { return oProperties == GetDefaultProperties(); }

    // Chunk 3, then chunk 1 with the table's saved rows and whatever the effect adds.
    LProcessResult SDFWriteElement(LProcessInterface& process, LSDFFileWriter& writer) override
    {
        const LProcessResult r = QDImagePipelineElement::SDFWriteElement(process, writer);
        if (r != LProcessResultSuccess)
            return r;
        const T p = GetPropertiesSnapshot();
        return writer.StartContainer(QDChunkProperties) && QDPropertiesWrite(writer, &p, oTable) &&
                       SDFWriteMoreProperties(writer, p) && writer.EndContainer(QDChunkProperties)
                   ? LProcessResultSuccess
                   : LProcessResultFailed;
    }
    // Starts from the current value, so a chunk the file lacks keeps its default.
    LProcessResult SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                     const LSDFMemoryChunk& chunk) override
    {
        (void)process;
        T p = GetPropertiesSnapshot();
        for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
            if (!QDPropertyLoadAny(reader, it.Get(), &p, oTable))
                SDFLoadMoreProperty(reader, it.Get(), p);
        if (!reader.bOk)
            return LProcessResultFailed;
        InitProperties(p);
        return LProcessResultSuccess;
    }

protected:
    // For properties a table row can't hold; declare their chunks in GetExtraChunkDeclarations.
    virtual bool SDFWriteMoreProperties(LSDFFileWriter& writer, const T& properties)
    {
        (void)writer, (void)properties;
        return true;
    }
    // A chunk of chunk 1 that isn't a saved row; unknown ones are left alone.
    virtual void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk, T& properties)
    {
        (void)reader, (void)chunk, (void)properties;
    }

    T oProperties{};
    T oPropertiesRegistered{};
    mutable LLockObject loProperties;
    QDPropertyTable oTable;

private:
    void Assign(const T& value)
    {
        LLockObjectGuard guard(loProperties);
        oProperties = value;
    }
};

// One-value effects: the table has one row, chunk 5 as float64 or chunk 6 as int32.
class QDImagePipelineElementWithDoubleProperties : public QDImagePipelineElementWithWrappedProperties<double>
{
public:
    using QDImagePipelineElementWithWrappedProperties<double>::QDImagePipelineElementWithWrappedProperties;
};

class QDImagePipelineElementWithIntProperties : public QDImagePipelineElementWithWrappedProperties<int32_t>
{
public:
    using QDImagePipelineElementWithWrappedProperties<int32_t>::QDImagePipelineElementWithWrappedProperties;
};
