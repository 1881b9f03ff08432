#pragma once
// Per-user settings by section and key, with the default given at each call. The store is one
// file per user, shared by every running instance: each write reaches the file at once, so
// another process reads it on its next call.

#include "foundation/LString.h"

#include <cstdint>
#include <limits>
#include <type_traits>

constexpr size_t LUSERSETTING_MAX_STRING = 260; // fixed text values, terminator included

// "section/key": the store's full name of a key.
void _LSettingGetFullKeyName(LString& out, const char* section, const char* key);
// Where the store lives: $XDG_CONFIG_HOME/Quendrel/Quendrel.conf.
bool LUserSettingsGetFilePath(char* path);

bool LUserSettingGetBool(const char* section, const char* key, bool defaultValue);
int LUserSettingGetInt32(const char* section, const char* key, int defaultValue);
int64_t LUserSettingGetInt64(const char* section, const char* key, int64_t defaultValue);
double LUserSettingGetDouble(const char* section, const char* key, double defaultValue);
bool LUserSettingSetBool(const char* section, const char* key, bool value);
bool LUserSettingSetInt64(const char* section, const char* key, int64_t value);
bool LUserSettingSetDouble(const char* section, const char* key, double value);

inline bool LUserSettingGet(const char* section, const char* key, bool defaultValue)
{
    return LUserSettingGetBool(section, key, defaultValue);
}
inline int LUserSettingGet(const char* section, const char* key, int defaultValue)
{
    return LUserSettingGetInt32(section, key, defaultValue);
}
inline int64_t LUserSettingGet(const char* section, const char* key, int64_t defaultValue)
{
    return LUserSettingGetInt64(section, key, defaultValue);
}
inline bool LUserSettingSet(const char* section, const char* key, bool value)
{
    return LUserSettingSetBool(section, key, value);
}
inline bool LUserSettingSet(const char* section, const char* key, int value)
{
    return LUserSettingSetInt64(section, key, value);
}
inline bool LUserSettingSet(const char* section, const char* key, int64_t value)
{
    return LUserSettingSetInt64(section, key, value);
}

// Any arithmetic or enumeration type: LUserSettingGet<float>("Section", "Key", 0.5f).
template <class T>
T LUserSettingGet(const char* section, const char* key, T defaultValue)
{
    if constexpr (std::is_same_v<T, bool>)
        return LUserSettingGetBool(section, key, defaultValue);
    else if constexpr (std::is_enum_v<T>)
        return T(LUserSettingGetInt64(section, key, int64_t(defaultValue)));
    else if constexpr (std::is_floating_point_v<T>)
        return T(LUserSettingGetDouble(section, key, double(defaultValue)));
    else
    {
        static_assert(std::is_integral_v<T>, "settings hold numbers, truth values and text");
        int64_t v = LUserSettingGetInt64(section, key, int64_t(defaultValue));
        // A stored value the type can't hold is not this setting's value.
        if (v < 0 && std::is_unsigned_v<T>)
            return defaultValue;
        if (v > 0 && uint64_t(v) > uint64_t(std::numeric_limits<T>::max()))
            return defaultValue;
        if (v < 0 && v < int64_t(std::numeric_limits<T>::min()))
            return defaultValue;
        return T(v);
    }
}

template <class T>
bool LUserSettingSet(const char* section, const char* key, T value)
{
    if constexpr (std::is_same_v<T, bool>)
        return LUserSettingSetBool(section, key, value);
    else if constexpr (std::is_floating_point_v<T>)
        return LUserSettingSetDouble(section, key, double(value));
    else
    {
        static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "text goes through LUserSettingSetString");
        return LUserSettingSetInt64(section, key, int64_t(value));
    }
}

// A stored value outside minimum..maximum (or not a number) gives the default.
int LUserSettingGetInt(const char* section, const char* key, int defaultValue, int minimum, int maximum);

// Copies the value, cut to 259 bytes (at a character boundary), into out, which holds
// LUSERSETTING_MAX_STRING bytes; copies the default (cut the same way) when the key is missing.
// Returns whether the key exists.
bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out);
// The whole value, for text that may be longer than a fixed string (tokens, lists).
bool LUserSettingGetString(const char* section, const char* key, const char* defaultValue, LString& out);
bool LUserSettingSetString(const char* section, const char* key, const char* value);
bool LUserSettingDeleteItem(const char* section, const char* key);

// Passwords are stored enciphered with a key private to the user, never in clear text. Get
// gives false (and an empty out) when the key is missing or the value can't be deciphered.
bool LUserSettingGetPassword(const char* section, const char* key, char* out);
bool LUserSettingSetPassword(const char* section, const char* key, const char* password);
bool LSettingEncrypt(const char* clearText, LString& out);
bool LSettingDecrypt(const char* stored, LString& out);

// Provided by the platform layer: the store itself, by full key name.
bool LPlatformSettingRead(const char* fullKey, LString& out);
bool LPlatformSettingWrite(const char* fullKey, const char* value);
bool LPlatformSettingRemove(const char* fullKey);
