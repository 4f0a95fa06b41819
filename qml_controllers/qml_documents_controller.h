#pragma once

#include <QAbstractListModel>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <memory>

namespace tachoria::storage {
class CalibrationRepository;
class CertificateRepository;
class CustomerRepository;
} // namespace tachoria::storage

namespace tachoria::qml {

class QmlAppController;

// The rows of the documents page's list: one successful calibration each, with the keys id, order,
// customer, date, serial, nextCalibration and vehicle as roles.
class DocumentRecordModel : public QAbstractListModel
{
    Q_OBJECT

public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    void setRows(QList<QVariantMap> rows);
    const QList<QVariantMap>& rows() const { return m_rows; }
    // The row of a calibration's Id, or -1.
    Q_INVOKABLE int rowOf(int id) const;

private:
    QList<QVariantMap> m_rows;
};

// The documents page: the successful calibrations, one of them chosen and completed by the master, and
// made into a certificate (PDF, preview, database record and XML file) or a sticker (PDF and preview),
// printed on demand. Everything runs on the GUI thread, as printing must.
class QmlDocumentsController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList records READ records NOTIFY recordsChanged)
    Q_PROPERTY(tachoria::qml::DocumentRecordModel* recordModel READ recordModel CONSTANT)
    Q_PROPERTY(QVariantMap selected READ selected NOTIFY selectedChanged)
    Q_PROPERTY(bool hasSelection READ hasSelection NOTIFY selectedChanged)
    Q_PROPERTY(int selectedId READ selectedId NOTIFY selectedChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY statusChanged)
    Q_PROPERTY(QString previewSource READ previewSource NOTIFY previewChanged)
    Q_PROPERTY(QString previewTitle READ previewTitle NOTIFY previewChanged)
    Q_PROPERTY(bool previewIsSticker READ previewIsSticker NOTIFY previewChanged)
    Q_PROPERTY(int requestedId READ requestedId NOTIFY requestedIdChanged)

public:
    explicit QmlDocumentsController(QmlAppController* app, QObject* parent = nullptr);
    ~QmlDocumentsController() override;

    QVariantList records() const;
    DocumentRecordModel* recordModel() { return &m_records; }
    QVariantMap selected() const { return m_selected; }
    bool hasSelection() const { return !m_selected.isEmpty(); }
    int selectedId() const;
    QString statusText() const { return m_statusText; }
    QString lastError() const { return m_lastError; }
    QString previewSource() const { return m_previewSource; }
    QString previewTitle() const { return m_previewTitle; }
    bool previewIsSticker() const { return m_previewIsSticker; }
    QVariantMap previewData() const { return m_previewData; }
    int requestedId() const { return m_requestedId; }

    Q_INVOKABLE void refresh(const QString& tachographFilter = QString(),
                             const QString& customerFilter = QString());
    Q_INVOKABLE void select(int id);
    Q_INVOKABLE void clearSelection();
    Q_INVOKABLE bool removeSelected();
    Q_INVOKABLE bool openDataFolder(const QString& folderName);
    Q_INVOKABLE void updateSelectedValue(const QString& key, const QVariant& value);
    Q_INVOKABLE bool createCertificate();
    Q_INVOKABLE bool createSticker();
    Q_INVOKABLE bool printPreview(const QVariantMap& options);
    // The way from a finished calibration to its documents: the page opened next selects this record
    // and shows its documents' tab; the page takes the request with takeRequestedId().
    Q_INVOKABLE void requestDocumentsFor(int id);
    Q_INVOKABLE int takeRequestedId();

    // The document's fields for the renderer and the certificate records, from the chosen calibration.
    QVariantMap certificateData();
    // The PDF that the last create made.
    QString lastPdfPath() const { return m_lastPdfPath; }

Q_SIGNALS:
    void recordsChanged();
    void selectedChanged();
    void statusChanged();
    void previewChanged();
    void requestedIdChanged();

private:
    bool ensureRepositories();
    bool createDocument(bool sticker);
    void setStatus(const QString& status, const QString& error = QString());
    QString shopValue(const char* key) const;

    QmlAppController* m_app = nullptr;
    std::unique_ptr<storage::CalibrationRepository> m_calibrations;
    std::unique_ptr<storage::CertificateRepository> m_certificates;
    std::unique_ptr<storage::CustomerRepository> m_customers;
    DocumentRecordModel m_records;
    QVariantMap m_selected;
    QString m_lastError;
    QString m_statusText = QStringLiteral("Откройте раздел документов для загрузки списка");
    QString m_previewSource;
    QString m_previewTitle;
    QVariantMap m_previewData;
    bool m_previewIsSticker = false;
    QString m_previewFile;
    QString m_lastPdfPath;
    int m_requestedId = 0;
};

} // namespace tachoria::qml
