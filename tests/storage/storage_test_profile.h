#pragma once

#include <QTemporaryDir>
#include <QtGlobal>

// A private LOCALAPPDATA for one test program, set before any path is worked out, so that no test
// ever touches a real profile.
class StorageTestProfile
{
public:
    StorageTestProfile() { qputenv("LOCALAPPDATA", m_dir.path().toUtf8()); }
    QString path() const { return m_dir.path(); }
    QString database(const QString& name) const
    {
        return m_dir.filePath(QStringLiteral("Tachoria/Data/DB/") + name);
    }

private:
    QTemporaryDir m_dir;
};
