#include "effects/QDEffectProperty.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int QDPropertyDesc::ValueToSlider(double value) const
{
    double position = value;
    if (eScale == QDScaleHundredth)
        position = value * 100.0;
    else if (eScale == QDScaleRatio)
        position = value * double(iSliderMax - iSliderMin);
    if (bInverted)
        position = double(iSliderMin) + double(iSliderMax) - position;
    const double p = std::round(position);
    return p < iSliderMin ? iSliderMin : p > iSliderMax ? iSliderMax : int(p);
}

double QDPropertyDesc::SliderToValue(int position) const
{
    if (bInverted)
        position = iSliderMin + iSliderMax - position;
    if (eScale == QDScaleHundredth)
        return position / 100.0;
    if (eScale == QDScaleRatio)
        return iSliderMax == iSliderMin ? 0.0 : double(position) / double(iSliderMax - iSliderMin);
    return double(position);
}

long QDPropertyTable::FindById(uint16_t id, uint16_t container) const
{
    for (size_t i = 0; i < nCount; ++i)
        if (lpFirst[i].iChunkId == id && lpFirst[i].iContainerId == container)
            return long(i);
    return -1;
}

bool QDPropertyTable::HasContainer(uint16_t container) const
{
    for (size_t i = 0; i < nCount; ++i)
        if (lpFirst[i].bSaved && container && lpFirst[i].iContainerId == container)
            return true;
    return false;
}

long QDPropertyTable::FindByName(const char* name) const
{
    for (size_t i = 0; name && i < nCount; ++i)
        if (strcmp(lpFirst[i].szName, name) == 0)
            return long(i);
    return -1;
}

double QDPropertyGet(const void* properties, const QDPropertyDesc& row)
{
    const char* at = static_cast<const char*>(properties) + row.iOffset;
    switch (row.eType)
    {
    case QDPropertyBool:
    {
        bool b;
        memcpy(&b, at, sizeof b);
        return b ? 1.0 : 0.0;
    }
    case QDPropertyInt:
    {
        int32_t i;
        memcpy(&i, at, sizeof i);
        return double(i);
    }
    case QDPropertyFloat:
    {
        float f;
        memcpy(&f, at, sizeof f);
        return double(f);
    }
    default:
    {
        double d;
        memcpy(&d, at, sizeof d);
        return d;
    }
    }
}

void QDPropertySet(void* properties, const QDPropertyDesc& row, double value)
{
    if (std::isnan(value))
        return;
    const double v = value < row.dMin ? row.dMin : value > row.dMax ? row.dMax : value;
    char* at = static_cast<char*>(properties) + row.iOffset;
    switch (row.eType)
    {
    case QDPropertyBool:
    {
        const bool b = v != 0.0;
        memcpy(at, &b, sizeof b);
        break;
    }
    case QDPropertyInt:
    {
        const int32_t i = int32_t(std::lround(v));
        memcpy(at, &i, sizeof i);
        break;
    }
    case QDPropertyFloat:
    {
        const float f = float(v);
        memcpy(at, &f, sizeof f);
        break;
    }
    default:
        memcpy(at, &v, sizeof v);
        break;
    }
}

void QDPropertiesSetDefaults(void* properties, QDPropertyTable table)
{
    for (const QDPropertyDesc& row : table)
        QDPropertySet(properties, row, row.dDefault);
}

bool QDPropertiesWrite(LSDFFileWriter& writer, const void* properties, QDPropertyTable table)
{
    uint16_t open = 0;
    for (const QDPropertyDesc& row : table)
    {
        if (!row.bSaved)
            continue;
        if (row.iContainerId != open)
        {
            if ((open && !writer.EndContainer(open)) ||
                (row.iContainerId && !writer.StartContainer(row.iContainerId)))
                return false;
            open = row.iContainerId;
        }
        const double v = QDPropertyGet(properties, row);
        bool ok;
        switch (row.eType)
        {
        case QDPropertyBool:
            ok = writer.WriteBool(row.iChunkId, v != 0.0);
            break;
        case QDPropertyInt:
            ok = writer.WriteInt(row.iChunkId, int32_t(v));
            break;
        case QDPropertyFloat:
            ok = writer.WriteFloat(row.iChunkId, float(v));
            break;
        default:
            ok = writer.WriteFloat64(row.iChunkId, v);
            break;
        }
        if (!ok)
            return false;
    }
    return !open || writer.EndContainer(open);
}

bool QDPropertyLoadChunk(const LSDFMemoryChunk& chunk, void* properties, QDPropertyTable table,
                         uint16_t container)
{
    const long i = table.FindById(chunk.iId, container);
    if (i < 0 || !table[size_t(i)].bSaved)
        return false;
    double v;
    if (chunk.ReadNumber(v))
        QDPropertySet(properties, table[size_t(i)], v);
    return true;
}

bool QDPropertyLoadAny(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk, void* properties,
                       QDPropertyTable table)
{
    if (!chunk.IsContainer() || !table.HasContainer(chunk.iId))
        return QDPropertyLoadChunk(chunk, properties, table);
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
        QDPropertyLoadChunk(it.Get(), properties, table, chunk.iId);
    return true;
}

std::string QDPropertyFormat(const QDPropertyDesc& row, double value)
{
    if (row.eType == QDPropertyBool)
        return value != 0.0 ? "true" : "false";
    char text[64];
    snprintf(text, sizeof text, "%.10g", value);
    return text;
}

bool QDPropertyParse(const QDPropertyDesc& row, const char* text, double& value)
{
    if (!text || !*text)
        return false;
    if (row.eType == QDPropertyBool)
    {
        static const char* const yes[] = {"true", "1", "yes", "on"};
        static const char* const no[] = {"false", "0", "no", "off"};
        for (int i = 0; i < 4; ++i)
        {
            if (strcmp(text, yes[i]) == 0)
                return (value = 1.0), true;
            if (strcmp(text, no[i]) == 0)
                return (value = 0.0), true;
        }
        return false;
    }
    char* end = nullptr;
    const double v = strtod(text, &end);
    if (*end || !std::isfinite(v))
        return false;
    if (row.eType == QDPropertyInt && v != std::floor(v))
        return false;
    value = v;
    return true;
}

const char* QDPropertyTypeName(uint16_t chunkType)
{
    switch (chunkType)
    {
    case LSDFTypeContainer:
        return "container";
    case LSDFTypeBool:
        return "bool";
    case LSDFTypeInt:
        return "int";
    case LSDFTypeFloat:
        return "float";
    case LSDFTypeFloat64:
        return "float64";
    case LSDFTypeString:
        return "string";
    case LSDFTypeBlob:
        return "blob";
    default:
        return "unknown";
    }
}
