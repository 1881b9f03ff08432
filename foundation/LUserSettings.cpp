#include "foundation/LUserSettings.h"

#include "foundation/LFile.h"
#include "foundation/LFileAtomicWriter.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
bool ReadValue(const char* section, const char* key, LString& out)
{
    LString fullKey;
    _LSettingGetFullKeyName(fullKey, section, key);
    return LPlatformSettingRead(fullKey, out);
}

bool WriteValue(const char* section, const char* key, const char* value)
{
    LString fullKey;
    _LSettingGetFullKeyName(fullKey, section, key);
    return LPlatformSettingWrite(fullKey, value);
}

bool ParseInt64(const char* text, int64_t& value)
{
    errno = 0;
    char* end = nullptr;
    long long v = strtoll(text, &end, 10);
    if (end == text || errno == ERANGE)
        return false;
    while (*end == ' ' || *end == '\t')
        ++end;
    if (*end)
        return false;
    value = v;
    return true;
}

// Copies text into a fixed string, cutting at a UTF-8 character boundary if it is too long.
void CopyCut(char* out, const char* text)
{
    size_t n = strlen(text);
    if (n >= LUSERSETTING_MAX_STRING)
    {
        n = LUSERSETTING_MAX_STRING - 1;
        // Step back over continuation bytes so no character is left half.
        size_t start = n;
        while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
            --start;
        if (start < n && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80)
            n = start;
    }
    memcpy(out, text, n);
    out[n] = 0;
}

// ---- the cipher of stored passwords

constexpr size_t kKeySize = 32, kNonceSize = 12, kTagSize = 16;
constexpr const char* kPrefix = "enc1:";

// The user's key, made at first use in a 0600 file of the user data folder. It is linked into
// place whole, so two processes starting together agree on one key.
bool GetCipherKey(unsigned char* key)
{
    char folder[LFILE_MAX_PATH], path[LFILE_MAX_PATH];
    if (!LFile::GetUserDataFolderApp(folder) || !LFile::_MakeFilePath(path, folder, "settings", ".key"))
        return false;
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        int fd = open(path, O_RDONLY | O_CLOEXEC);
        if (fd >= 0)
        {
            ssize_t n = read(fd, key, kKeySize);
            close(fd);
            return n == ssize_t(kKeySize);
        }
        if (errno != ENOENT)
            return false;
        unsigned char fresh[kKeySize];
        LFileAtomicWriter writer;
        if (RAND_bytes(fresh, int(kKeySize)) != 1 ||
            writer.Begin(path, LFileModePrivate) != LFileAtomicWriterSuccess ||
            !writer.GetStream().Write(fresh, kKeySize))
            return false;
        const LFileAtomicWriterResult result = writer.CommitNoReplace();
        if (result == LFileAtomicWriterSuccess)
        {
            memcpy(key, fresh, kKeySize);
            OPENSSL_cleanse(fresh, sizeof(fresh));
            return true;
        }
        OPENSSL_cleanse(fresh, sizeof(fresh));
        if (result != LFileAtomicWriterExists)
            return false;
        // Another process won the race: read its key.
    }
    return false;
}

void Base64Encode(const unsigned char* data, size_t size, LString& out)
{
    std::string text(4 * ((size + 2) / 3) + 1, '\0');
    int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data, int(size));
    out.Append(text.data(), size_t(n));
}

bool Base64Decode(const char* text, std::string& out)
{
    size_t length = strlen(text);
    if (length % 4 != 0)
        return false;
    out.assign(length / 4 * 3 + 1, '\0');
    int n = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                            reinterpret_cast<const unsigned char*>(text), int(length));
    if (n < 0)
        return false;
    size_t padding = (length > 0 && text[length - 1] == '=') + (length > 1 && text[length - 2] == '=');
    out.resize(size_t(n) - padding);
    return true;
}
} // namespace

void _LSettingGetFullKeyName(LString& out, const char* section, const char* key)
{
    out.sprintf("%s/%s", section, key);
}

bool LUserSettingsGetFilePath(char* path)
{
    const char* config = getenv("XDG_CONFIG_HOME");
    std::string folder;
    if (config && config[0] == '/')
        folder = config;
    else
    {
        const char* home = getenv("HOME");
        folder = std::string(home && home[0] == '/' ? home : "/tmp") + "/.config";
    }
    folder += "/Quendrel/Quendrel.conf";
    return tstrcpy(path, LFILE_MAX_PATH, folder.c_str());
}

bool LUserSettingGetBool(const char* section, const char* key, bool defaultValue)
{
    LString value;
    if (!ReadValue(section, key, value))
        return defaultValue;
    if (tstricmp(value.GetString(), "true") == 0 || value.Equals("1"))
        return true;
    if (tstricmp(value.GetString(), "false") == 0 || value.Equals("0"))
        return false;
    return defaultValue;
}

int64_t LUserSettingGetInt64(const char* section, const char* key, int64_t defaultValue)
{
    LString value;
    int64_t v;
    if (!ReadValue(section, key, value) || !ParseInt64(value, v))
        return defaultValue;
    return v;
}

int LUserSettingGetInt32(const char* section, const char* key, int defaultValue)
{
    return LUserSettingGet<int>(section, key, defaultValue);
}

double LUserSettingGetDouble(const char* section, const char* key, double defaultValue)
{
    LString value;
    if (!ReadValue(section, key, value))
        return defaultValue;
    char* end = nullptr;
    double v = strtod(value, &end);
    if (end == value.GetString() || *end || !std::isfinite(v))
        return defaultValue;
    return v;
}

bool LUserSettingSetBool(const char* section, const char* key, bool value)
{
    return WriteValue(section, key, value ? "true" : "false");
}

bool LUserSettingSetInt64(const char* section, const char* key, int64_t value)
{
    char text[32];
    snprintf(text, sizeof(text), "%lld", static_cast<long long>(value));
    return WriteValue(section, key, text);
}

bool LUserSettingSetDouble(const char* section, const char* key, double value)
{
    char text[64];
    snprintf(text, sizeof(text), "%.17g", value); // enough digits to read back the same double
    return WriteValue(section, key, text);
}

int LUserSettingGetInt(const char* section, const char* key, int defaultValue, int minimum, int maximum)
{
    LString value;
    int64_t v;
    if (!ReadValue(section, key, value) || !ParseInt64(value, v) || v < minimum || v > maximum)
        return defaultValue;
    return int(v);
}

bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out)
{
    LString value;
    bool exists = ReadValue(section, key, value);
    CopyCut(out, exists ? value.GetString() : (defaultValue ? defaultValue : ""));
    return exists;
}

bool LUserSettingGetString(const char* section, const char* key, const char* defaultValue, LString& out)
{
    if (ReadValue(section, key, out))
        return true;
    out = defaultValue ? defaultValue : "";
    return false;
}

bool LUserSettingSetString(const char* section, const char* key, const char* value)
{
    return WriteValue(section, key, value ? value : "");
}

bool LUserSettingDeleteItem(const char* section, const char* key)
{
    LString fullKey;
    _LSettingGetFullKeyName(fullKey, section, key);
    return LPlatformSettingRemove(fullKey);
}

bool LSettingEncrypt(const char* clearText, LString& out)
{
    out.Clear();
    unsigned char key[kKeySize];
    if (!GetCipherKey(key))
        return false;
    const size_t size = strlen(clearText);
    std::string sealed(kNonceSize + size + kTagSize, '\0');
    unsigned char* nonce = reinterpret_cast<unsigned char*>(sealed.data());
    unsigned char* body = nonce + kNonceSize;
    bool ok = RAND_bytes(nonce, int(kNonceSize)) == 1;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    int n = 0, tail = 0;
    ok =
        ok && ctx && EVP_EncryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, key, nonce) == 1 &&
        EVP_EncryptUpdate(ctx, body, &n, reinterpret_cast<const unsigned char*>(clearText), int(size)) == 1 &&
        EVP_EncryptFinal_ex(ctx, body + n, &tail) == 1 &&
        EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_GET_TAG, int(kTagSize), body + size) == 1;
    EVP_CIPHER_CTX_free(ctx);
    OPENSSL_cleanse(key, sizeof(key));
    if (!ok)
        return false;
    out = kPrefix;
    Base64Encode(nonce, sealed.size(), out);
    return true;
}

bool LSettingDecrypt(const char* stored, LString& out)
{
    out.Clear();
    const size_t prefix = strlen(kPrefix);
    std::string sealed;
    if (strncmp(stored, kPrefix, prefix) != 0 || !Base64Decode(stored + prefix, sealed) ||
        sealed.size() < kNonceSize + kTagSize)
        return false;
    unsigned char key[kKeySize];
    if (!GetCipherKey(key))
        return false;
    unsigned char* nonce = reinterpret_cast<unsigned char*>(sealed.data());
    unsigned char* body = nonce + kNonceSize;
    const size_t size = sealed.size() - kNonceSize - kTagSize;
    std::string clear(size + 1, '\0');
    unsigned char* plain = reinterpret_cast<unsigned char*>(clear.data());
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    int n = 0, tail = 0;
    // The tag check in Final refuses a value that was changed or made with another key.
    bool ok = ctx && EVP_DecryptInit_ex(ctx, EVP_aes_256_gcm(), nullptr, key, nonce) == 1 &&
              EVP_DecryptUpdate(ctx, plain, &n, body, int(size)) == 1 &&
              EVP_CIPHER_CTX_ctrl(ctx, EVP_CTRL_GCM_SET_TAG, int(kTagSize), body + size) == 1 &&
              EVP_DecryptFinal_ex(ctx, plain + n, &tail) == 1;
    EVP_CIPHER_CTX_free(ctx);
    OPENSSL_cleanse(key, sizeof(key));
    ok = ok && memchr(clear.data(), 0, size) == nullptr; // text never holds a NUL
    if (ok)
        out.Append(clear.data(), size);
    OPENSSL_cleanse(clear.data(), clear.size());
    return ok;
}

bool LUserSettingGetPassword(const char* section, const char* key, char* out)
{
    out[0] = 0;
    LString stored, clear;
    if (!ReadValue(section, key, stored) || !LSettingDecrypt(stored, clear))
        return false;
    CopyCut(out, clear);
    OPENSSL_cleanse(clear.lpData, clear.nCapacity);
    return true;
}

bool LUserSettingSetPassword(const char* section, const char* key, const char* password)
{
    LString stored;
    return LSettingEncrypt(password ? password : "", stored) && WriteValue(section, key, stored);
}
