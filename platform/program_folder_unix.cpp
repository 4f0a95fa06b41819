#include "platform/program_folder.h"

#include <QCoreApplication>
#include <QDir>

#include <unistd.h>

namespace tachoria::platform {

QString writableProgramFolder(const QString& fallback)
{
    const QString folder = QDir::fromNativeSeparators(QCoreApplication::applicationDirPath());
    if (!folder.isEmpty() && ::access(QFile::encodeName(folder).constData(), W_OK) == 0)
        return folder;
    return fallback;
}

} // namespace tachoria::platform
