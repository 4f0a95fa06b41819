#include "qml_controllers/qml_documents_controller.h"

#include "documents/document_renderer.h"
#include "qml_controllers/qml_app_controller.h"
#include "qml_controllers/qml_helpers.h"
#include "storage/app_paths.h"
#include "storage/calibration_repository.h"
#include "storage/certificate_repository.h"
#include "storage/certificate_xml_storage.h"
#include "storage/customer_master_repositories.h"

#include <QDate>
#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QUrl>
#include <QUuid>

namespace tachoria::qml {

using documents::DocumentRenderer;
using documents::DocumentType;

namespace {

const QString kShopGroup = QStringLiteral("TACHORIA");
const QString kNoRecord = QStringLiteral("Запись не выбрана");

enum Role
{
    IdRole = Qt::UserRole + 1,
    OrderRole,
    CustomerRole,
    DateRole,
    SerialRole,
    NextCalibrationRole,
    VehicleRole,
};

const QByteArray& roleKey(int role)
{
    static const QHash<int, QByteArray> keys = {
        {IdRole, "id"},           {OrderRole, "order"},   {CustomerRole, "customer"},
        {DateRole, "date"},       {SerialRole, "serial"}, {NextCalibrationRole, "nextCalibration"},
        {VehicleRole, "vehicle"},
    };
    static const QByteArray none;
    const auto found = keys.constFind(role);
    return found == keys.cend() ? none : *found;
}

QVariantMap listRow(const QVariantMap& record)
{
    return {
        {QStringLiteral("id"), record.value(QStringLiteral("Id")).toInt()},
        {QStringLiteral("order"), record.value(QStringLiteral("OrderNumber")).toString()},
        {QStringLiteral("customer"), record.value(QStringLiteral("CustomerName")).toString()},
        {QStringLiteral("date"), documentDate(record.value(QStringLiteral("RecordDateTime")))},
        {QStringLiteral("serial"), record.value(QStringLiteral("VuSerialNumber")).toString()},
        {QStringLiteral("nextCalibration"),
         documentDate(record.value(QStringLiteral("NextCalibrationDate")))},
        {QStringLiteral("vehicle"), record.value(QStringLiteral("VehicleRegistrationNumber")).toString()},
    };
}

QString text(const QVariantMap& map, const QString& key)
{
    return map.value(key).toString();
}

QString orDefault(const QVariantMap& map, const QString& key, const QString& fallback)
{
    const QString value = text(map, key);
    return value.trimmed().isEmpty() ? fallback : value;
}

// Only letters, digits and "_.-" reach a file name.
QString fileNamePart(const QString& textValue)
{
    static const QRegularExpression unsafe(QStringLiteral("[^0-9A-Za-zА-Яа-я_.-]"));
    QString out = textValue;
    out.replace(unsafe, QStringLiteral("_"));
    return out;
}

QString datePart(const QString& orderDate)
{
    const QDateTime moment = QDateTime::fromString(orderDate.trimmed(), Qt::ISODate);
    QString part = moment.isValid() ? moment.toString(QStringLiteral("dd_MM_yyyy")) : fileNamePart(orderDate);
    if (part.isEmpty())
        part = QDate::currentDate().toString(QStringLiteral("dd_MM_yyyy"));
    return part;
}

} // namespace

int DocumentRecordModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant DocumentRecordModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    return m_rows.at(index.row()).value(QString::fromLatin1(roleKey(role)));
}

QHash<int, QByteArray> DocumentRecordModel::roleNames() const
{
    QHash<int, QByteArray> names;
    for (int role = IdRole; role <= VehicleRole; ++role)
        names.insert(role, roleKey(role));
    return names;
}

void DocumentRecordModel::setRows(QList<QVariantMap> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

int DocumentRecordModel::rowOf(int id) const
{
    for (int row = 0; row < m_rows.size(); ++row) {
        if (m_rows.at(row).value(QStringLiteral("id")).toInt() == id)
            return row;
    }
    return -1;
}

QmlDocumentsController::QmlDocumentsController(QmlAppController* app, QObject* parent)
    : QObject(parent)
    , m_app(app)
{
}

QmlDocumentsController::~QmlDocumentsController()
{
    // The preview lives in the temporary folder only as long as the program shows it.
    if (!m_previewFile.isEmpty())
        QFile::remove(m_previewFile);
}

bool QmlDocumentsController::ensureRepositories()
{
    if (!m_calibrations)
        m_calibrations = std::make_unique<storage::CalibrationRepository>();
    if (!m_certificates)
        m_certificates = std::make_unique<storage::CertificateRepository>();
    if (!m_customers)
        m_customers = std::make_unique<storage::CustomerRepository>();
    return m_calibrations->isOpen();
}

void QmlDocumentsController::setStatus(const QString& status, const QString& error)
{
    m_statusText = status;
    m_lastError = error;
    Q_EMIT statusChanged();
}

QVariantList QmlDocumentsController::records() const
{
    QVariantList out;
    out.reserve(m_records.rows().size());
    for (const QVariantMap& row : m_records.rows())
        out.append(row);
    return out;
}

int QmlDocumentsController::selectedId() const
{
    return m_selected.value(QStringLiteral("Id")).toInt();
}

void QmlDocumentsController::refresh(const QString& tachographFilter, const QString& customerFilter)
{
    ensureRepositories();
    QList<QVariantMap> rows;
    const QList<QVariantMap> found =
        m_calibrations->searchSuccessfulCalibrations(tachographFilter, customerFilter);
    rows.reserve(found.size());
    for (const QVariantMap& record : found)
        rows.append(listRow(record));
    m_records.setRows(std::move(rows));
    Q_EMIT recordsChanged();
    if (!m_calibrations->lastError().isEmpty())
        setStatus(m_statusText, m_calibrations->lastError());
    else if (m_selected.isEmpty())
        setStatus(kNoRecord);
}

void QmlDocumentsController::select(int id)
{
    ensureRepositories();
    m_selected = m_calibrations->calibration(id);
    if (!m_selected.isEmpty()) {
        if (const auto customer =
                m_customers->customerByName(text(m_selected, QStringLiteral("CustomerName")))) {
            m_selected.insert(QStringLiteral("CustomerAddress"), customer->address);
            m_selected.insert(QStringLiteral("CustomerPhone"), customer->phone);
        }
    }
    Q_EMIT selectedChanged();
    setStatus(m_selected.isEmpty() ? QStringLiteral("Запись не найдена") : QStringLiteral("Запись выбрана"));
}

void QmlDocumentsController::clearSelection()
{
    m_selected.clear();
    Q_EMIT selectedChanged();
    setStatus(kNoRecord);
}

bool QmlDocumentsController::removeSelected()
{
    ensureRepositories();
    const int id = selectedId();
    if (id <= 0 || !m_calibrations->deleteCalibration(id)) {
        setStatus(QStringLiteral("Не удалось удалить запись"), m_calibrations->lastError());
        return false;
    }
    m_selected.clear();
    Q_EMIT selectedChanged();
    QList<QVariantMap> rows = m_records.rows();
    rows.removeIf([id](const QVariantMap& row) { return row.value(QStringLiteral("id")).toInt() == id; });
    m_records.setRows(std::move(rows));
    Q_EMIT recordsChanged();
    setStatus(QStringLiteral("Запись удалена"));
    return true;
}

bool QmlDocumentsController::openDataFolder(const QString& folderName)
{
    const QString folder = storage::AppPaths::data() + QLatin1Char('/') + folderName;
    QDir().mkpath(folder);
    return QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

void QmlDocumentsController::updateSelectedValue(const QString& key, const QVariant& value)
{
    m_selected.insert(key, value);
    Q_EMIT selectedChanged();
}

QString QmlDocumentsController::shopValue(const char* key) const
{
    QmlSettingsController* settings = m_app ? m_app->settings() : nullptr;
    return settings ? settings->persistedValue(QString::fromLatin1(key), kShopGroup, QString()) : QString();
}

QVariantMap QmlDocumentsController::certificateData()
{
    ensureRepositories();
    const QVariantMap& s = m_selected;
    QString address = text(s, QStringLiteral("CustomerAddress"));
    QString phone = text(s, QStringLiteral("CustomerPhone"));
    if (address.trimmed().isEmpty() || phone.trimmed().isEmpty()) {
        if (const auto customer = m_customers->customerByName(text(s, QStringLiteral("CustomerName")))) {
            if (address.trimmed().isEmpty())
                address = customer->address;
            if (phone.trimmed().isEmpty())
                phone = customer->phone;
        }
    }
    const QString partNumber = text(s, QStringLiteral("VuPartNumber")).trimmed();
    const std::pair<const char*, const char*> copied[] = {
        {"CustomerName", "CustomerName"},
        {"OrderNumber", "OrderNumber"},
        {"VehicleVin", "VehicleIdentificationNumber"},
        {"VehicleTyreMarking", "TyreSize"},
        {"VehicleModel", "VehicleModel"},
        {"VehicleRegNumber", "VehicleRegistrationNumber"},
        {"VehicleOdometr", "HighResOdometer"},
        {"TachographManufacture", "VuManufacturerName"},
        {"TachographSerialNumber", "VuSerialNumber"},
        {"TachographSkzi", "SkziNumber"},
        {"TachographDateOfManufacture", "VuManufacturingDate"},
        {"TachographSettingsW", "WVehicleCharacteristicConstant"},
        {"TachographSettingsK", "KConstantOfRecordingEquipment"},
        {"TachographSettingsL", "LTyreCircumference"},
        {"TachographSettingsNextCalibr", "NextCalibrationDate"},
        {"VehicleMark", "VehicleMark"},
        {"OrderDate", "RecordDateTime"},
        {"OrderMaster", "OrderMaster"},
        {"OrderResponsible", "OrderResponsible"},
    };
    QVariantMap data;
    for (const auto& [documentKey, source] : copied)
        data.insert(QString::fromLatin1(documentKey), text(s, QString::fromLatin1(source)));
    data.insert(QStringLiteral("CustomerAddress"), address);
    data.insert(QStringLiteral("CustomerPhone"), phone);
    data.insert(QStringLiteral("TachographModel"),
                partNumber.isEmpty() ? QString() : QStringLiteral("Орвиан исп. ") + partNumber);
    data.insert(QStringLiteral("Inspection"),
                orDefault(s, QStringLiteral("Inspection"), QStringLiteral("Нет")));
    data.insert(QStringLiteral("Manipulation"),
                orDefault(s, QStringLiteral("Manipulation"), QStringLiteral("Нет")));
    data.insert(QStringLiteral("SetupTable"),
                orDefault(s, QStringLiteral("SetupTable"), QStringLiteral("Стойка двери водителя")));
    data.insert(QStringLiteral("Note"), orDefault(s, QStringLiteral("Note"),
                                                  QStringLiteral("Эксплуатация только на территории РФ.")));
    data.insert(QStringLiteral("TachoriaStigma"), shopValue("mark"));
    data.insert(QStringLiteral("TachoriaName"), shopValue("name"));
    data.insert(QStringLiteral("TachoriaAddress"),
                QStringLiteral("%1, %2, %3").arg(shopValue("street"), shopValue("city"), shopValue("post")));
    data.insert(QStringLiteral("TachoriaPhone"), shopValue("phone"));
    return data;
}

bool QmlDocumentsController::createCertificate()
{
    return createDocument(false);
}

bool QmlDocumentsController::createSticker()
{
    return createDocument(true);
}

bool QmlDocumentsController::createDocument(bool sticker)
{
    const int id = selectedId();
    if (id <= 0) {
        setStatus(QStringLiteral("Документ не создан"), QStringLiteral("Сначала выберите запись калибровки"));
        return false;
    }
    const DocumentType type = sticker ? DocumentType::Sticker : DocumentType::Certificate;
    const QVariantMap data = certificateData();
    const QString folder =
        storage::AppPaths::data() + (sticker ? QStringLiteral("/Наклейки") : QStringLiteral("/Сертификаты"));
    QDir().mkpath(folder);
    const QString serial = fileNamePart(text(data, QStringLiteral("TachographSerialNumber")));
    const QString fileName = QStringLiteral("%1%2_%3.pdf")
                                 .arg(sticker ? QStringLiteral("Наклейка_") : QStringLiteral("Сертификат_"),
                                      datePart(text(data, QStringLiteral("OrderDate"))),
                                      serial.isEmpty() ? QStringLiteral("unknown") : serial);
    const QString pdfPath = folder + QLatin1Char('/') + fileName;
    QString error;
    if (!DocumentRenderer::writePdf(pdfPath, type, data, &error)) {
        setStatus(QStringLiteral("Ошибка формирования документа"), error);
        return false;
    }
    m_lastPdfPath = pdfPath;

    const QString preview = QDir(QStandardPaths::writableLocation(QStandardPaths::TempLocation))
                                .filePath(QStringLiteral("TachoriaQt_preview_%1.png")
                                              .arg(QUuid::createUuid().toString(QUuid::WithoutBraces)));
    if (!DocumentRenderer::writePreviewImage(preview, type, data, &error)) {
        setStatus(QStringLiteral("PDF создан, но предпросмотр недоступен"), error);
        return false;
    }
    if (!m_previewFile.isEmpty())
        QFile::remove(m_previewFile);
    m_previewFile = preview;
    m_previewSource = QUrl::fromLocalFile(preview).toString();
    m_previewTitle =
        sticker ? QStringLiteral("Предпросмотр наклейки") : QStringLiteral("Предпросмотр сертификата");
    m_previewData = data;
    m_previewIsSticker = sticker;
    Q_EMIT previewChanged();

    QString xmlError;
    if (!sticker) {
        ensureRepositories();
        storage::CertificateXmlStorage xml;
        const QString checksum = storage::CertificateXmlStorage::checksum(data);
        // The XML file is a second record, not a condition: its failure is told, the issue goes on.
        if (!xml.isCertificateExists(checksum))
            xml.saveCertificate(data, nullptr, &xmlError);
        if (m_certificates->saveCertificate(data, checksum, pdfPath, true) < 0) {
            setStatus(QStringLiteral("PDF создан, но запись в БД не сохранена"), m_certificates->lastError());
            return false;
        }
        const QString customer = text(m_selected, QStringLiteral("CustomerName"));
        const int order = text(m_selected, QStringLiteral("OrderNumber")).toInt();
        if (m_calibrations->updateCustomerAndOrder(id, customer, order)) {
            QList<QVariantMap> rows = m_records.rows();
            const int row = m_records.rowOf(id);
            if (row >= 0) {
                rows[row].insert(QStringLiteral("customer"), customer);
                rows[row].insert(QStringLiteral("order"), QString::number(order));
                m_records.setRows(std::move(rows));
                Q_EMIT recordsChanged();
            }
        }
    }
    setStatus(QStringLiteral("%1 создан. Для печати нажмите «Печать…» в предпросмотре")
                  .arg(sticker ? QStringLiteral("Наклейка") : QStringLiteral("Сертификат")),
              xmlError);
    return true;
}

bool QmlDocumentsController::printPreview(const QVariantMap& options)
{
    if (m_previewData.isEmpty()) {
        setStatus(QStringLiteral("Печать не выполнена"), QStringLiteral("Нет документа для печати"));
        return false;
    }
    QString error;
    const DocumentType type = m_previewIsSticker ? DocumentType::Sticker : DocumentType::Certificate;
    if (!DocumentRenderer::printWithOptions(type, m_previewData, options, &error)) {
        // A cancel is the master's choice, not an error; a refused OneNote printer is one.
        if (error == QStringLiteral("Печать отменена"))
            setStatus(QStringLiteral("Печать отменена"));
        else
            setStatus(QStringLiteral("Печать не выполнена"), error);
        return false;
    }
    setStatus(QStringLiteral("Документ отправлен на печать"));
    return true;
}

void QmlDocumentsController::requestDocumentsFor(int id)
{
    m_requestedId = id;
    Q_EMIT requestedIdChanged();
}

int QmlDocumentsController::takeRequestedId()
{
    const int id = m_requestedId;
    m_requestedId = 0;
    return id;
}

} // namespace tachoria::qml
