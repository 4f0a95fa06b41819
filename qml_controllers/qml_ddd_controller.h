#pragma once

#include "ddd/ddd_report.h"

#include <QHash>
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantList>
#include <QVariantMap>

#include <functional>
#include <memory>

class QThread;

namespace tachoria::ddd {
class DddRepository;
}

namespace tachoria::qml {

class DddTableModel;

// Behind the page "Расшифровка .ddd": decodes a file on a worker while the page stays live, shows every
// dataset of the report, keeps reports in "ReportsDB.db" and opens them again, and writes the PDF.
// Datasets reach the page as table models that read rows only when shown; the lists of the same names
// are there for scripts and build a copy on each read.
class QmlDddController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool busy READ busy NOTIFY stateChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY stateChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY stateChanged)
    Q_PROPERTY(QString fileName READ fileName NOTIFY stateChanged)
    Q_PROPERTY(QString filePath READ filePath NOTIFY stateChanged)
    Q_PROPERTY(QString fileType READ fileType NOTIFY stateChanged)
    Q_PROPERTY(double fileSize READ fileSize NOTIFY stateChanged)
    Q_PROPERTY(QVariantMap summary READ summary NOTIFY stateChanged)
    Q_PROPERTY(QVariantMap analysis READ analysis NOTIFY stateChanged)
    Q_PROPERTY(QString structureText READ structureText NOTIFY stateChanged)
    Q_PROPERTY(QVariantList blocks READ blocks NOTIFY stateChanged)
    Q_PROPERTY(QVariantList savedReports READ savedReports NOTIFY savedReportsChanged)
    // For the page: whether a decoded or saved report is open, its kind (0 none, 1 card, 2 unit), the
    // rows of each dataset by name, the tags of the file's blocks, and its days for the activity chart.
    Q_PROPERTY(bool hasReport READ hasReport NOTIFY stateChanged)
    Q_PROPERTY(int reportKind READ reportKind NOTIFY stateChanged)
    Q_PROPERTY(QVariantMap datasetCounts READ datasetCounts NOTIFY stateChanged)
    Q_PROPERTY(QStringList fileNumbers READ fileNumbers NOTIFY stateChanged)
    Q_PROPERTY(QVariantList activityDays READ activityDays NOTIFY stateChanged)

    Q_PROPERTY(QVariantList events READ events NOTIFY stateChanged)
    Q_PROPERTY(QVariantList faults READ faults NOTIFY stateChanged)
    Q_PROPERTY(QVariantList activities READ activities NOTIFY stateChanged)
    Q_PROPERTY(QVariantList activityChanges READ activityChanges NOTIFY stateChanged)
    Q_PROPERTY(QVariantList vehicles READ vehicles NOTIFY stateChanged)
    Q_PROPERTY(QVariantList places READ places NOTIFY stateChanged)
    Q_PROPERTY(QVariantList charts READ charts NOTIFY stateChanged)
    Q_PROPERTY(QVariantList asn1Fields READ asn1Fields NOTIFY stateChanged)
    Q_PROPERTY(QVariantList sections READ sections NOTIFY stateChanged)
    Q_PROPERTY(QVariantList tachoChildSections READ tachoChildSections NOTIFY stateChanged)
    Q_PROPERTY(QVariantList dayInformation READ dayInformation NOTIFY stateChanged)
    Q_PROPERTY(QVariantList cardIwData READ cardIwData NOTIFY stateChanged)
    Q_PROPERTY(QVariantList tachoEvents READ tachoEvents NOTIFY stateChanged)
    Q_PROPERTY(QVariantList tachoFaults READ tachoFaults NOTIFY stateChanged)
    Q_PROPERTY(QVariantList overSpeedingEvents READ overSpeedingEvents NOTIFY stateChanged)
    Q_PROPERTY(QVariantList detailedSpeed READ detailedSpeed NOTIFY stateChanged)
    Q_PROPERTY(QVariantList calibrationData READ calibrationData NOTIFY stateChanged)
    Q_PROPERTY(QVariantList vehicleIdentification READ vehicleIdentification NOTIFY stateChanged)
    Q_PROPERTY(QVariantList vuIdentification READ vuIdentification NOTIFY stateChanged)
    Q_PROPERTY(QVariantList sensorPaired READ sensorPaired NOTIFY stateChanged)
    Q_PROPERTY(QVariantList activityDaily READ activityDaily NOTIFY stateChanged)
    Q_PROPERTY(QVariantList placeDailyWorkPeriod READ placeDailyWorkPeriod NOTIFY stateChanged)
    Q_PROPERTY(QVariantList specificConditions READ specificConditions NOTIFY stateChanged)
    Q_PROPERTY(QVariantList downloadActivity READ downloadActivity NOTIFY stateChanged)
    Q_PROPERTY(QVariantList currentDateTime READ currentDateTime NOTIFY stateChanged)
    Q_PROPERTY(QVariantList downloadablePeriod READ downloadablePeriod NOTIFY stateChanged)
    Q_PROPERTY(QVariantList insertedCardType READ insertedCardType NOTIFY stateChanged)
    Q_PROPERTY(QVariantList companyLocks READ companyLocks NOTIFY stateChanged)
    Q_PROPERTY(QVariantList controlActivity READ controlActivity NOTIFY stateChanged)
    Q_PROPERTY(QVariantList overSpeedingControl READ overSpeedingControl NOTIFY stateChanged)
    Q_PROPERTY(QVariantList currentUsage READ currentUsage NOTIFY stateChanged)
    Q_PROPERTY(QVariantList timeAdjustments READ timeAdjustments NOTIFY stateChanged)
    Q_PROPERTY(QVariantList cardIcc READ cardIcc NOTIFY stateChanged)
    Q_PROPERTY(QVariantList cardIc READ cardIc NOTIFY stateChanged)
    Q_PROPERTY(QVariantList applicationIdentification READ applicationIdentification NOTIFY stateChanged)
    Q_PROPERTY(QVariantList cardIdentification READ cardIdentification NOTIFY stateChanged)
    Q_PROPERTY(QVariantList cardDownload READ cardDownload NOTIFY stateChanged)
    Q_PROPERTY(QVariantList drivingLicence READ drivingLicence NOTIFY stateChanged)

public:
    // The application controller is its parent.
    explicit QmlDddController(QObject* parent = nullptr);
    ~QmlDddController() override;

    bool busy() const { return m_busy; }
    QString statusText() const { return m_statusText; }
    QString lastError() const { return m_lastError; }
    QString fileName() const { return m_report.fileName; }
    QString filePath() const { return m_report.filePath; }
    QString fileType() const;
    double fileSize() const { return m_report.size; }
    QVariantMap summary() const { return m_summary; }
    QVariantMap analysis() const { return m_report.analysis; }
    QString structureText() const { return m_report.structureText; }
    QVariantList blocks() const { return m_blocks; }
    QVariantList savedReports() const { return m_savedReports; }
    bool hasReport() const { return m_report.fileType != ddd::DddFileType::Unknown; }
    int reportKind() const { return int(m_report.fileType); }
    QVariantMap datasetCounts() const;
    QStringList fileNumbers() const;
    QVariantList activityDays() const;
    const ddd::DddReport& report() const { return m_report; }

    QVariantList events() const { return list(m_report.events); }
    QVariantList faults() const { return list(m_report.faults); }
    QVariantList activities() const { return list(m_report.activities); }
    QVariantList activityChanges() const { return list(m_report.activityChanges); }
    QVariantList vehicles() const { return list(m_report.vehicles); }
    QVariantList places() const { return list(m_report.places); }
    QVariantList charts() const { return list(m_report.charts); }
    QVariantList asn1Fields() const { return list(m_report.asn1Fields); }
    QVariantList sections() const { return list(m_report.sections); }
    QVariantList tachoChildSections() const { return list(m_report.tachoChildSections); }
    QVariantList dayInformation() const { return list(m_report.dayInformation); }
    QVariantList cardIwData() const { return list(m_report.cardIwData); }
    QVariantList tachoEvents() const { return list(m_report.tachoEvents); }
    QVariantList tachoFaults() const { return list(m_report.tachoFaults); }
    QVariantList overSpeedingEvents() const { return list(m_report.overSpeedingEvents); }
    QVariantList detailedSpeed() const { return list(m_report.detailedSpeed); }
    QVariantList calibrationData() const { return list(m_report.calibrationData); }
    QVariantList vehicleIdentification() const { return list(m_report.vehicleIdentification); }
    QVariantList vuIdentification() const { return list(m_report.vuIdentification); }
    QVariantList sensorPaired() const { return list(m_report.sensorPaired); }
    QVariantList activityDaily() const { return list(m_report.activityDaily); }
    QVariantList placeDailyWorkPeriod() const { return list(m_report.placeDailyWorkPeriod); }
    QVariantList specificConditions() const { return list(m_report.specificConditions); }
    QVariantList downloadActivity() const { return list(m_report.downloadActivity); }
    QVariantList currentDateTime() const { return list(m_report.currentDateTime); }
    QVariantList downloadablePeriod() const { return list(m_report.downloadablePeriod); }
    QVariantList insertedCardType() const { return list(m_report.insertedCardType); }
    QVariantList companyLocks() const { return list(m_report.companyLocks); }
    QVariantList controlActivity() const { return list(m_report.controlActivity); }
    QVariantList overSpeedingControl() const { return list(m_report.overSpeedingControl); }
    QVariantList currentUsage() const { return list(m_report.currentUsage); }
    QVariantList timeAdjustments() const { return list(m_report.timeAdjustments); }
    QVariantList cardIcc() const { return list(m_report.cardIcc); }
    QVariantList cardIc() const { return list(m_report.cardIc); }
    QVariantList applicationIdentification() const { return list(m_report.applicationIdentification); }
    QVariantList cardIdentification() const { return list(m_report.cardIdentification); }
    QVariantList cardDownload() const { return list(m_report.cardDownload); }
    QVariantList drivingLicence() const { return list(m_report.drivingLicence); }

    // Returns true when a parse was started.
    Q_INVOKABLE bool openFile(const QString& path);
    Q_INVOKABLE bool openDocument(const QUrl& url);
    Q_INVOKABLE bool chooseAndOpenFile();
    Q_INVOKABLE void clear();
    Q_INVOKABLE bool openDataFolder();
    Q_INVOKABLE bool saveReport();
    // Writes the PDF on a worker; true when it was started. options: `sections` and `graphs`.
    Q_INVOKABLE bool exportReportPdf(const QString& path, const QVariantMap& options);
    Q_INVOKABLE bool exportReportPdfDocument(const QUrl& url, const QVariantMap& options);
    Q_INVOKABLE void refreshSavedReports();
    // type: 2 for a tachograph report, 1 for a driver card's.
    Q_INVOKABLE bool openSavedReport(qint64 id, int type);
    Q_INVOKABLE bool deleteSavedReport(qint64 id, int type);

    // The page's tables and charts: a dataset by name ("blocks" and "analysisDays" too), the points of a
    // chart type, the activity intervals of one day, and the PDF's choices for the open report.
    Q_INVOKABLE QObject* datasetModel(const QString& name);
    Q_INVOKABLE QVariantList chartPoints(int chartType, int zoom = 1) const;
    Q_INVOKABLE QVariantList activityIntervals(const QString& day) const;
    Q_INVOKABLE QVariantList pdfSections() const;
    Q_INVOKABLE QVariantList pdfGraphs() const;
    Q_INVOKABLE QString suggestedPdfPath() const;
    Q_INVOKABLE QString choosePdfPath(const QString& current);

Q_SIGNALS:
    void stateChanged();
    void savedReportsChanged();
    void duplicateReportDetected(qint64 existingId);

private:
    struct Decoded;
    static QVariantList list(const ddd::DatasetRows& rows);
    void setReport(ddd::DddReport report, QVariantMap summary, QVariantList blocks);
    void finishDecoding(Decoded decoded);
    bool ensureRepository();
    void fail(const QString& error, const QString& status);
    // Runs work on a thread of its own and then done back here; false while another job runs.
    bool runJob(std::function<void()> work, std::function<void()> done);
    void refreshModels();

    ddd::DddReport m_report;
    QVariantMap m_summary;
    QVariantList m_blocks;
    QVariantList m_activityDays;
    QVariantList m_savedReports;
    bool m_busy = false;
    QString m_statusText;
    QString m_lastError;
    QHash<QString, DddTableModel*> m_models;
    std::unique_ptr<ddd::DddRepository> m_repository;
    QThread* m_worker = nullptr;
};

} // namespace tachoria::qml
