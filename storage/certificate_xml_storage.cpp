#include "storage/certificate_xml_storage.h"

#include "storage/app_paths.h"
#include "storage/certificate_repository.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace tachoria::storage {

namespace {

const QString kSalt = QStringLiteral("ThisPepperX1987#Tachoria!");

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

} // namespace

CertificateXmlStorage::CertificateXmlStorage(const QString& folder)
    : m_folder(folder.isEmpty() ? AppPaths::data() + QStringLiteral("/XML") : folder)
{
    QDir().mkpath(m_folder);
}

QString CertificateXmlStorage::checksumsPath() const
{
    return QDir(m_folder).filePath(QStringLiteral("checksums.txt"));
}

const QStringList& CertificateXmlStorage::fieldNames()
{
    return CertificateRepository::fields();
}

QString CertificateXmlStorage::sanitizeFileName(const QString& name)
{
    QString out = name;
    for (QChar& c : out) {
        if (QStringLiteral("<>:\"/\\|?*").contains(c))
            c = QLatin1Char('_');
    }
    return out;
}

QString CertificateXmlStorage::checksum(const QVariantMap& certificate)
{
    QStringList items;
    for (const QString& field : fieldNames())
        items << certificate.value(field).toString();
    items << kSalt;
    const QByteArray hash =
        QCryptographicHash::hash(items.join(QLatin1Char('|')).toUtf8(), QCryptographicHash::Sha256);
    QString text = QString::fromLatin1(hash.toBase64());
    text.replace(QLatin1Char('/'), QLatin1Char('_'))
        .replace(QLatin1Char('+'), QLatin1Char('-'))
        .remove(QLatin1Char('='));
    return text;
}

QString CertificateXmlStorage::fileNameFor(const QVariantMap& certificate)
{
    const QString serial = sanitizeFileName(
        certificate.value(QStringLiteral("TachographSerialNumber"), QStringLiteral("unknown")).toString());
    QString date =
        sanitizeFileName(certificate.value(QStringLiteral("OrderDate"), QStringLiteral("nodate")).toString());
    for (QChar& c : date) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c == QLatin1Char(':'))
            c = QLatin1Char('-');
        else if (c == QLatin1Char(' '))
            c = QLatin1Char('_');
    }
    return serial + QLatin1Char('_') + date + QStringLiteral(".xml");
}

QString CertificateXmlStorage::saveCertificate(const QVariantMap& certificate, QString* checksumOut,
                                               QString* error)
{
    const QString fileName = fileNameFor(certificate);
    const QString path = QDir(m_folder).filePath(fileName);
    // The file appears whole or the earlier one of that name stays as it was.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        setError(error, file.errorString());
        return QString();
    }
    QXmlStreamWriter xml(&file);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("CertificateData"));
    for (const QString& field : fieldNames())
        xml.writeTextElement(field, certificate.value(field).toString());
    xml.writeEndElement();
    xml.writeEndDocument();
    // A short write (a full disk) leaves no error on the file itself; the writer notices it.
    if (xml.hasError()) {
        file.cancelWriting();
        setError(error, QStringLiteral("Не удалось полностью записать файл сертификата: %1").arg(path));
        return QString();
    }
    if (!file.commit()) {
        setError(error, file.errorString());
        return QString();
    }
    const QString sum = checksum(certificate);
    QFile list(checksumsPath());
    if (!list.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text) ||
        list.write((sum + QLatin1Char('|') + fileName + QLatin1Char('\n')).toUtf8()) < 0) {
        setError(error, list.errorString());
        return QString();
    }
    if (checksumOut)
        *checksumOut = sum;
    return path;
}

QVariantMap CertificateXmlStorage::loadCertificate(const QString& path, QString* error) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        setError(error, file.errorString());
        return {};
    }
    QVariantMap certificate;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement ||
            xml.name() == QLatin1String("CertificateData"))
            continue;
        const QString name = xml.name().toString();
        certificate.insert(name, xml.readElementText());
    }
    if (xml.hasError()) {
        setError(error, xml.errorString());
        return {};
    }
    return certificate;
}

QMap<QString, QString> CertificateXmlStorage::allChecksums() const
{
    QMap<QString, QString> sums;
    QFile file(checksumsPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return sums;
    while (!file.atEnd()) {
        const QStringList parts = QString::fromUtf8(file.readLine()).trimmed().split(QLatin1Char('|'));
        if (parts.size() == 2)
            sums.insert(parts.at(0), parts.at(1));
    }
    return sums;
}

bool CertificateXmlStorage::isCertificateExists(const QString& checksum) const
{
    return allChecksums().contains(checksum);
}

bool CertificateXmlStorage::verifyCertificateIntegrity(const QString& path, QString* error) const
{
    const QVariantMap certificate = loadCertificate(path, error);
    if (certificate.isEmpty())
        return false;
    const QString computed = checksum(certificate);
    const QString fileName = QFileInfo(path).fileName();
    const QMap<QString, QString> sums = allChecksums();
    // Only the first line of that name, in checksum order, is compared.
    for (auto it = sums.cbegin(); it != sums.cend(); ++it) {
        if (it.value() == fileName)
            return it.key() == computed;
    }
    return false;
}

} // namespace tachoria::storage
