#pragma once

#include "storage/sqlite_connection.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tachoria::storage {

// Issued certificates and stickers in "CertificateDB.db": one row per issue with the paths of the
// documents that came out.
class CertificateRepository
{
public:
    explicit CertificateRepository(const QString& databasePath = QString());

    bool isOpen() const { return m_connection.isOpen(); }
    bool testConnection() const { return isOpen(); }
    QString lastError() const { return m_connection.lastError(); }
    QString databasePath() const { return m_connection.databasePath(); }

    // The 30 fields of a certificate, in the order its checksum follows.
    static const QStringList& fields();

    int saveCertificate(const QVariantMap& certificate, const QString& documentPath, const QString& pdfPath,
                        bool success);
    bool saveCertificateWithError(int id, const QString& message);
    bool updateCertificateFilePaths(int id, const QString& documentPath, const QString& pdfPath);
    bool updateCertificate(int id, const QVariantMap& certificate);
    QVariantMap certificate(int id);
    QList<QVariantMap> allCertificates();
    QList<QVariantMap> certificatesBySerialNumber(const QString& serial);
    QList<QVariantMap> searchCertificates(const QString& text);
    QList<QVariantMap> certificatesByDateRange(const QDateTime& from, const QDateTime& to);
    bool deleteCertificate(int id);

private:
    bool initialize();

    SqliteConnection m_connection;
};

} // namespace tachoria::storage
