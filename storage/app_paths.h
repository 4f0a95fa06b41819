#pragma once

#include <QString>

namespace tachoria::storage {

// Every folder the application keeps, with forward slashes. Two trees: the per-user one under
// LOCALAPPDATA for what the user owns, and the program's own beside the executable.
class AppPaths
{
public:
    static QString root();
    static QString data();
    static QString databaseDirectory();
    static QString database(const QString& name);
    static QString runtimeData();
    static QString logDirectory();
    static QString downloadDirectory();
    static void ensureDirectories();

    // The folder that holds the log, downloads and the appearance file: the executable's own folder
    // when it is writable (a build tree), else the per-user root (an installed program).
    static QString programDirectory();

private:
    AppPaths() = delete;
};

} // namespace tachoria::storage
