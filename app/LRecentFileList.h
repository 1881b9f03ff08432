#pragma once
// The files opened last, newest first, kept in the settings so that the next run offers them.

#include <string>
#include <vector>

class LRecentFileList
{
public:
    static constexpr size_t kMaxFiles = 10;

    // From the settings; files that have gone since are left out.
    void Load();
    void Save() const;
    // To the front; an entry already there moves.
    void Add(const char* path);
    void Remove(const char* path);
    const std::vector<std::string>& GetFiles() const { return vFiles; }

private:
    std::vector<std::string> vFiles;
};
