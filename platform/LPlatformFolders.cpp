#include "foundation/LFile.h"

#include <QByteArray>
#include <QStandardPaths>
#include <cstring>

namespace
{
bool StandardFolder(QStandardPaths::StandardLocation location, char* path)
{
    QByteArray folder = QStandardPaths::writableLocation(location).toUtf8();
    if (folder.isEmpty() || size_t(folder.size()) >= LFILE_MAX_PATH)
    {
        path[0] = 0;
        return false;
    }
    memcpy(path, folder.constData(), size_t(folder.size()) + 1);
    return true;
}
} // namespace

bool LPlatformGetPicturesFolder(char* path)
{
    return StandardFolder(QStandardPaths::PicturesLocation, path);
}

bool LPlatformGetDocumentsFolder(char* path)
{
    return StandardFolder(QStandardPaths::DocumentsLocation, path);
}
