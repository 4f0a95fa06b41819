#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tachoria::storage {

// The second record of an issued certificate: an XML file of its fields in the XML folder, and a
// running "checksums.txt" by which its content can later be shown to be unchanged.
class CertificateXmlStorage
{
public:
    explicit CertificateXmlStorage(const QString& folder = QString());

    QString folderPath() const { return m_folder; }
    QString checksumsPath() const;

    static const QStringList& fieldNames();
    static QString sanitizeFileName(const QString& name);
    static QString checksum(const QVariantMap& certificate);
    static QString fileNameFor(const QVariantMap& certificate);

    QString saveCertificate(const QVariantMap& certificate, QString* checksumOut = nullptr,
                            QString* error = nullptr);
    QVariantMap loadCertificate(const QString& path, QString* error = nullptr) const;
    QMap<QString, QString> allChecksums() const;
    bool isCertificateExists(const QString& checksum) const;
    bool verifyCertificateIntegrity(const QString& path, QString* error = nullptr) const;

private:
    QString m_folder;
};

} // namespace tachoria::storage
