#pragma once
// Each effect describes its properties once, in a small constexpr table: chunk id and type in the
// project file, default, range, the short lower-case name of the command line, the label, whether
// it is saved, and the control a panel built from the table gives it. Loading (with the default
// for a missing chunk and a clamp into the range), saving, panels, the command line and the
// tests all read the same rows, so a property can't be saved under one id and loaded under
// another.
//
//   constexpr QDPropertyDesc kBlurTable[] = {
//       QD_PROPERTY(QDEffectBlurProperties, dRadius, 5, 20.0, 0.0, 1000.0, "radius", "Radius"),
//   };
//
// Rows point at their field by offset, so the properties type must be a plain standard-layout
// struct; a one-value effect (T = double or int) uses QD_PROPERTY_VALUE.

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "document/LSDF.h"

// The chunk type a property is saved as; the field's type decides it.
enum QDPropertyType : uint16_t
{
    QDPropertyBool = LSDFTypeBool,
    QDPropertyInt = LSDFTypeInt,
    QDPropertyFloat = LSDFTypeFloat,
    QDPropertyFloat64 = LSDFTypeFloat64,
};

enum QDPropertyControl : uint8_t
{
    QDControlNone,   // not shown
    QDControlSlider, // a QDSlider between two captions
    QDControlCheck,  // a check box
    QDControlNumber, // a number field
    QDControlChoice, // a pull-down or radio group of szChoices, "a|b|c" for 0, 1, 2
    QDControlRadio,  // szChoices as radio buttons
};

// How a slider's integer position becomes the value.
enum QDSliderScale : uint8_t
{
    QDScalePosition,  // value = position
    QDScaleHundredth, // value = position / 100
    QDScaleRatio,     // value = position / (maximum - minimum), not minus the minimum
};

struct QDPropertyDesc
{
    uint16_t iChunkId;
    QDPropertyType eType;
    uint32_t iOffset;
    double dDefault;
    double dMin;
    double dMax;
    const char* szName;
    const char* szLabel;
    bool bSaved = true;
    QDPropertyControl eControl = QDControlNone;
    const char* szLess = nullptr; // slider captions
    const char* szMore = nullptr;
    const char* szChoices = nullptr;
    int iSliderMin = 0;
    int iSliderMax = 100;
    QDSliderScale eScale = QDScalePosition;
    // The slider runs the other way: its maximum stands for the row's low end.
    bool bInverted = false;
    // Saved inside this container chunk instead of chunk 1 itself (a colour's 9, 10, 11); 0 for
    // the top level. Rows of one container follow each other in the table.
    uint16_t iContainerId = 0;

    constexpr QDPropertyDesc Slider(const char* less, const char* more, int min, int max,
                                    QDSliderScale scale) const
    {
        QDPropertyDesc d = *this;
        d.eControl = QDControlSlider;
        d.szLess = less;
        d.szMore = more;
        d.iSliderMin = min;
        d.iSliderMax = max;
        d.eScale = scale;
        return d;
    }
    constexpr QDPropertyDesc Control(QDPropertyControl control) const
    {
        QDPropertyDesc d = *this;
        d.eControl = control;
        return d;
    }
    constexpr QDPropertyDesc Choices(const char* choices) const
    {
        QDPropertyDesc d = Control(QDControlChoice);
        d.szChoices = choices;
        return d;
    }
    constexpr QDPropertyDesc Radio(const char* choices) const
    {
        QDPropertyDesc d = Control(QDControlRadio);
        d.szChoices = choices;
        return d;
    }
    constexpr QDPropertyDesc Inverted() const
    {
        QDPropertyDesc d = *this;
        d.bInverted = true;
        return d;
    }
    constexpr QDPropertyDesc In(uint16_t container) const
    {
        QDPropertyDesc d = *this;
        d.iContainerId = container;
        return d;
    }
    // Kept in memory only: a loaded element has the default.
    constexpr QDPropertyDesc Unsaved() const
    {
        QDPropertyDesc d = *this;
        d.bSaved = false;
        return d;
    }

    bool IsInteger() const { return eType == QDPropertyInt || eType == QDPropertyBool; }
    // The slider position that shows value, and the value a position stands for.
    int ValueToSlider(double value) const;
    double SliderToValue(int position) const;
};

struct QDPropertyTable
{
    const QDPropertyDesc* lpFirst = nullptr;
    size_t nCount = 0;

    constexpr QDPropertyTable() = default;
    template <size_t N>
    constexpr QDPropertyTable(const QDPropertyDesc (&rows)[N]) : lpFirst(rows), nCount(N)
    {
    }
    const QDPropertyDesc* begin() const { return lpFirst; }
    const QDPropertyDesc* end() const { return lpFirst + nCount; }
    size_t size() const { return nCount; }
    const QDPropertyDesc& operator[](size_t i) const { return lpFirst[i]; }
    // Index of the row saved under id in the container (0: chunk 1 itself), or -1.
    long FindById(uint16_t id, uint16_t container = 0) const;
    // Whether some saved row stands in that container.
    bool HasContainer(uint16_t container) const;
    long FindByName(const char* name) const;
};

template <class F>
constexpr QDPropertyType QDPropertyTypeOf()
{
    static_assert(std::is_same_v<F, bool> || std::is_same_v<F, int32_t> || std::is_same_v<F, float> ||
                      std::is_same_v<F, double>,
                  "a property is a bool, an int32_t, a float or a double");
    return std::is_same_v<F, bool>      ? QDPropertyBool
           : std::is_same_v<F, int32_t> ? QDPropertyInt
           : std::is_same_v<F, float>   ? QDPropertyFloat
                                        : QDPropertyFloat64;
}

template <class Struct>
constexpr uint32_t QDPropertyOffset(size_t offset)
{
    static_assert(std::is_standard_layout_v<Struct> && std::is_trivially_copyable_v<Struct>,
                  "properties are a plain struct");
    return uint32_t(offset);
}

#define QD_PROPERTY(Struct, field, id, def, min, max, name, label)                                           \
    QDPropertyDesc                                                                                           \
    {                                                                                                        \
        uint16_t(id), QDPropertyTypeOf<std::remove_cv_t<decltype(Struct::field)>>(),                         \
            QDPropertyOffset<Struct>(offsetof(Struct, field)), double(def), double(min), double(max), name,  \
            label                                                                                            \
    }
#define QD_PROPERTY_VALUE(Type, id, def, min, max, name, label)                                              \
    QDPropertyDesc                                                                                           \
    {                                                                                                        \
        uint16_t(id), QDPropertyTypeOf<Type>(), 0, double(def), double(min), double(max), name, label        \
    }

// Field access through a row; properties points at the whole struct (or the one value).
double QDPropertyGet(const void* properties, const QDPropertyDesc& row);
// Clamped into the row's range, integers rounded; a value that is no number leaves the field.
void QDPropertySet(void* properties, const QDPropertyDesc& row, double value);
void QDPropertiesSetDefaults(void* properties, QDPropertyTable table);
// The saved rows in table order, each as a chunk of its type; a run of rows of one container goes
// into that container.
bool QDPropertiesWrite(LSDFFileWriter& writer, const void* properties, QDPropertyTable table);
// When chunk is a saved row of the table in the container, reads it (whatever numeric type the
// file gave it) and returns true; a chunk too short for its value leaves the field as it was.
bool QDPropertyLoadChunk(const LSDFMemoryChunk& chunk, void* properties, QDPropertyTable table,
                         uint16_t container = 0);
// A chunk of chunk 1: a saved row, or a container of rows, read through reader. False for a
// chunk the table doesn't know.
bool QDPropertyLoadAny(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk, void* properties,
                       QDPropertyTable table);

// "20", "0.5", "true": how the command line shows and reads a value.
std::string QDPropertyFormat(const QDPropertyDesc& row, double value);
// False for text that isn't a value of the row's type; the range is the caller's check.
bool QDPropertyParse(const QDPropertyDesc& row, const char* text, double& value);
const char* QDPropertyTypeName(uint16_t chunkType);
