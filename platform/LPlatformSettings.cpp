#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"

#include <QSettings>
#include <QStringList>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Serialises this process's access; QSettings locks the file against other processes itself.
std::mutex loSettings;

QString StorePath()
{
    char path[LFILE_MAX_PATH];
    if (!LUserSettingsGetFilePath(path))
        return QString();
    return QString::fromUtf8(path);
}

// The folder private, and the file created 0600 before the first write: saving keeps the
// permissions of the file it replaces.
void PrepareStore(const QString& path)
{
    QByteArray file = path.toUtf8();
    char folder[LFILE_MAX_PATH];
    if (LFile::_GetFolderFromPath(folder, file.constData()))
        LFile::CreateFolder(folder);
    int fd = open(file.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (fd >= 0)
        close(fd);
}

bool Finish(QSettings& settings, const QString& path)
{
    settings.sync();
    chmod(path.toUtf8().constData(), 0600);
    return settings.status() == QSettings::NoError;
}
} // namespace

bool LPlatformSettingRead(const char* fullKey, LString& out)
{
    std::lock_guard<std::mutex> lock(loSettings);
    const QString path = StorePath();
    if (path.isEmpty())
        return false;
    QSettings settings(path, QSettings::IniFormat);
    const QString key = QString::fromUtf8(fullKey);
    if (!settings.contains(key))
        return false;
    const QVariant value = settings.value(key);
    // A hand-edited value with bare commas reads as a list; take it back as the text it was.
    const QString text = value.typeId() == QMetaType::QStringList
                             ? value.toStringList().join(QStringLiteral(", "))
                             : value.toString();
    out = text.toUtf8().constData();
    return true;
}

bool LPlatformSettingWrite(const char* fullKey, const char* value)
{
    std::lock_guard<std::mutex> lock(loSettings);
    const QString path = StorePath();
    if (path.isEmpty())
        return false;
    PrepareStore(path);
    QSettings settings(path, QSettings::IniFormat);
    settings.setValue(QString::fromUtf8(fullKey), QString::fromUtf8(value));
    return Finish(settings, path);
}

bool LPlatformSettingRemove(const char* fullKey)
{
    std::lock_guard<std::mutex> lock(loSettings);
    const QString path = StorePath();
    if (path.isEmpty())
        return false;
    QSettings settings(path, QSettings::IniFormat);
    settings.remove(QString::fromUtf8(fullKey));
    return Finish(settings, path);
}
