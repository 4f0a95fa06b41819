#include "storage/certificate_repository.h"

#include "storage/app_paths.h"

namespace tachoria::storage {

namespace {

QString defaultPath(const QString& path)
{
    return path.isEmpty() ? AppPaths::database(QStringLiteral("CertificateDB.db")) : path;
}

QVariantList fieldValues(const QVariantMap& certificate)
{
    QVariantList values;
    for (const QString& field : CertificateRepository::fields())
        values << (certificate.contains(field) ? certificate.value(field)
                                               : QVariant(QMetaType::fromType<QString>()));
    return values;
}

} // namespace

const QStringList& CertificateRepository::fields()
{
    static const QStringList names = {
        QStringLiteral("OrderNumber"),
        QStringLiteral("OrderMaster"),
        QStringLiteral("OrderDate"),
        QStringLiteral("OrderResponsible"),
        QStringLiteral("CustomerName"),
        QStringLiteral("CustomerAddress"),
        QStringLiteral("CustomerPhone"),
        QStringLiteral("VehicleMark"),
        QStringLiteral("VehicleVin"),
        QStringLiteral("VehicleTyreMarking"),
        QStringLiteral("VehicleModel"),
        QStringLiteral("VehicleRegNumber"),
        QStringLiteral("VehicleOdometr"),
        QStringLiteral("TachographManufacture"),
        QStringLiteral("TachographSerialNumber"),
        QStringLiteral("TachographSkzi"),
        QStringLiteral("TachographModel"),
        QStringLiteral("TachographDateOfManufacture"),
        QStringLiteral("TachographSettingsW"),
        QStringLiteral("TachographSettingsK"),
        QStringLiteral("TachographSettingsL"),
        QStringLiteral("TachographSettingsNextCalibr"),
        QStringLiteral("Inspection"),
        QStringLiteral("Manipulation"),
        QStringLiteral("SetupTable"),
        QStringLiteral("Note"),
        QStringLiteral("TachoriaStigma"),
        QStringLiteral("TachoriaName"),
        QStringLiteral("TachoriaAddress"),
        QStringLiteral("TachoriaPhone"),
    };
    return names;
}

CertificateRepository::CertificateRepository(const QString& databasePath)
    : m_connection(QStringLiteral("TachoriaCertificates_%1"), defaultPath(databasePath))
{
    if (m_connection.isOpen())
        initialize();
}

bool CertificateRepository::initialize()
{
    QStringList columns;
    for (const QString& field : fields())
        columns << field + QStringLiteral(" TEXT");
    const QStringList schema = {
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS CertificateData (Id INTEGER PRIMARY KEY AUTOINCREMENT, "
            "RecordDateTime "
            "DATETIME DEFAULT CURRENT_TIMESTAMP, %1, DocumentPath TEXT, PdfPath TEXT, IsSuccess INTEGER "
            "DEFAULT 1, ErrorMessage TEXT, CreationTimestamp DATETIME DEFAULT CURRENT_TIMESTAMP)")
            .arg(columns.join(QStringLiteral(", "))),
        QStringLiteral("CREATE INDEX IF NOT EXISTS idx_order_number ON CertificateData(OrderNumber)"),
        QStringLiteral(
            "CREATE INDEX IF NOT EXISTS idx_serial_number ON CertificateData(TachographSerialNumber)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS idx_creation_date ON CertificateData(CreationTimestamp)"),
    };
    for (const QString& statement : schema) {
        if (!m_connection.exec(statement))
            return false;
    }
    return true;
}

int CertificateRepository::saveCertificate(const QVariantMap& certificate, const QString& documentPath,
                                           const QString& pdfPath, bool success)
{
    const QStringList columns =
        fields() +
        QStringList{QStringLiteral("DocumentPath"), QStringLiteral("PdfPath"), QStringLiteral("IsSuccess")};
    QStringList marks;
    for (qsizetype i = 0; i < columns.size(); ++i)
        marks << QStringLiteral("?");
    QSqlQuery query(m_connection.database());
    if (!m_connection.exec(query,
                           QStringLiteral("INSERT INTO CertificateData(%1) VALUES(%2)")
                               .arg(columns.join(QStringLiteral(", ")), marks.join(QStringLiteral(", "))),
                           fieldValues(certificate) + QVariantList{documentPath, pdfPath, success ? 1 : 0}))
        return -1;
    return query.lastInsertId().toInt();
}

bool CertificateRepository::saveCertificateWithError(int id, const QString& message)
{
    return m_connection.change(
               QStringLiteral("UPDATE CertificateData SET IsSuccess = 0, ErrorMessage = ? WHERE Id = ?"),
               {message, id}) > 0;
}

bool CertificateRepository::updateCertificateFilePaths(int id, const QString& documentPath,
                                                       const QString& pdfPath)
{
    return m_connection.change(
               QStringLiteral("UPDATE CertificateData SET DocumentPath = ?, PdfPath = ? WHERE Id = ?"),
               {documentPath, pdfPath, id}) > 0;
}

bool CertificateRepository::updateCertificate(int id, const QVariantMap& certificate)
{
    QStringList assignments;
    for (const QString& field : fields())
        assignments << field + QStringLiteral(" = ?");
    return m_connection.change(QStringLiteral("UPDATE CertificateData SET %1 WHERE Id = ?")
                                   .arg(assignments.join(QLatin1Char(','))),
                               fieldValues(certificate) + QVariantList{id}) > 0;
}

QVariantMap CertificateRepository::certificate(int id)
{
    const auto list =
        m_connection.records(QStringLiteral("SELECT * FROM CertificateData WHERE Id = ?"), {id});
    return list.isEmpty() ? QVariantMap() : list.first();
}

QList<QVariantMap> CertificateRepository::allCertificates()
{
    return m_connection.records(
        QStringLiteral("SELECT * FROM CertificateData ORDER BY CreationTimestamp DESC"));
}

QList<QVariantMap> CertificateRepository::certificatesBySerialNumber(const QString& serial)
{
    return m_connection.records(
        QStringLiteral(
            "SELECT * FROM CertificateData WHERE TachographSerialNumber = ? ORDER BY CreationTimestamp DESC"),
        {serial});
}

QList<QVariantMap> CertificateRepository::searchCertificates(const QString& text)
{
    const QString pattern = QLatin1Char('%') + text + QLatin1Char('%');
    return m_connection.records(
        QStringLiteral("SELECT * FROM CertificateData WHERE OrderNumber LIKE ? OR CustomerName LIKE ? "
                       "OR TachographSerialNumber LIKE ? ORDER BY CreationTimestamp DESC"),
        {pattern, pattern, pattern});
}

QList<QVariantMap> CertificateRepository::certificatesByDateRange(const QDateTime& from, const QDateTime& to)
{
    return m_connection.records(
        QStringLiteral("SELECT * FROM CertificateData WHERE datetime(CreationTimestamp) BETWEEN "
                       "datetime(?) AND datetime(?) ORDER BY CreationTimestamp DESC"),
        {from.toString(Qt::ISODate), to.toString(Qt::ISODate)});
}

bool CertificateRepository::deleteCertificate(int id)
{
    return m_connection.change(QStringLiteral("DELETE FROM CertificateData WHERE Id = ?"), {id}) > 0;
}

} // namespace tachoria::storage
