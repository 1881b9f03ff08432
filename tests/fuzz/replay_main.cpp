// Runs a fuzz target without libFuzzer: every file named on the command line, and every file in
// every folder named there, goes through the target once. A missing folder counts as empty, so a
// target without saved crashers needs no folder for them. The run fails (or crashes) only on an
// input the target itself rejects.

#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace
{
bool ReadAll(const std::string& path, std::vector<uint8_t>& out)
{
    FILE* f = fopen(path.c_str(), "rb");
    if (!f)
        return false;
    out.clear();
    uint8_t block[65536];
    for (size_t n; (n = fread(block, 1, sizeof block, f)) > 0;)
        out.insert(out.end(), block, block + n);
    const bool ok = !ferror(f);
    fclose(f);
    return ok;
}

int Replay(const std::string& path)
{
    std::vector<uint8_t> data;
    if (!ReadAll(path, data))
    {
        fprintf(stderr, "cannot read %s\n", path.c_str());
        return -1;
    }
    // A copy of exactly the input's size, so that a read past its end is one past an allocation.
    std::vector<uint8_t> exact(data);
    return LLVMFuzzerTestOneInput(exact.empty() ? nullptr : exact.data(), exact.size());
}
} // namespace

int main(int argc, char** argv)
{
    long replayed = 0;
    for (int i = 1; i < argc; ++i)
    {
        struct stat st;
        if (stat(argv[i], &st) != 0)
            continue;
        std::vector<std::string> files;
        if (S_ISDIR(st.st_mode))
        {
            if (DIR* d = opendir(argv[i]))
            {
                while (dirent* e = readdir(d))
                    if (e->d_name[0] != '.')
                        files.push_back(std::string(argv[i]) + "/" + e->d_name);
                closedir(d);
            }
        }
        else
            files.push_back(argv[i]);
        for (const std::string& f : files)
        {
            if (Replay(f) != 0)
            {
                fprintf(stderr, "rejected: %s\n", f.c_str());
                return 1;
            }
            ++replayed;
        }
    }
    printf("%ld inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
