#pragma once
// A private temporary folder per test, removed with its contents afterwards.

#include <cstdio>
#include <cstdlib>
#include <ftw.h>
#include <string>
#include <unistd.h>

class TestTempFolder
{
public:
    explicit TestTempFolder(const char* base = nullptr)
    {
        std::string pattern = std::string(base ? base : "/tmp") + "/quendrel-test-XXXXXX";
        if (mkdtemp(pattern.data()))
            sPath = pattern;
    }
    ~TestTempFolder()
    {
        if (!sPath.empty())
            nftw(sPath.c_str(), Remove, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& Path() const { return sPath; }
    std::string File(const char* name) const { return sPath + "/" + name; }

private:
    static int Remove(const char* path, const struct stat*, int, struct FTW*)
    {
        ::remove(path);
        return 0;
    }
    std::string sPath;
};

inline std::string TestReadFile(const std::string& path)
{
    std::string data;
    if (FILE* f = fopen(path.c_str(), "rb"))
    {
        char chunk[4096];
        size_t n;
        while ((n = fread(chunk, 1, sizeof(chunk), f)) > 0)
            data.append(chunk, n);
        fclose(f);
    }
    return data;
}

inline bool TestWriteFile(const std::string& path, const std::string& data)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f)
        return false;
    bool ok = fwrite(data.data(), 1, data.size(), f) == data.size();
    return fclose(f) == 0 && ok;
}
