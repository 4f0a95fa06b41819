#include "storage/app_paths.h"

#include "platform/program_folder.h"

#include <QDir>
#include <QStandardPaths>

namespace tachoria::storage {

QString AppPaths::root()
{
    const QString localAppData = qEnvironmentVariable("LOCALAPPDATA");
    if (!localAppData.isEmpty())
        return QDir::cleanPath(QDir::fromNativeSeparators(localAppData) + QStringLiteral("/Tachoria"));
    return QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
}

QString AppPaths::data()
{
    return root() + QStringLiteral("/Data");
}

QString AppPaths::databaseDirectory()
{
    return data() + QStringLiteral("/DB");
}

QString AppPaths::database(const QString& name)
{
    return databaseDirectory() + QLatin1Char('/') + name;
}

QString AppPaths::programDirectory()
{
    return platform::writableProgramFolder(root());
}

QString AppPaths::runtimeData()
{
    return programDirectory() + QStringLiteral("/Data");
}

QString AppPaths::logDirectory()
{
    return programDirectory();
}

QString AppPaths::downloadDirectory()
{
    return programDirectory() + QStringLiteral("/DATA");
}

void AppPaths::ensureDirectories()
{
    QDir dir;
    dir.mkpath(databaseDirectory());
    dir.mkpath(logDirectory());
    dir.mkpath(downloadDirectory());
    dir.mkpath(runtimeData());
    dir.mkpath(data() + QStringLiteral("/Backups"));
}

} // namespace tachoria::storage
