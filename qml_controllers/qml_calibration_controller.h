#pragma once

#include "calibration/calibration_parameter_codec.h"
#include "storage/vehicle_repository.h"

#include <QAbstractItemModel>
#include <QHash>
#include <QList>
#include <QObject>
#include <QQmlPropertyMap>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <memory>

class QThread;

namespace tachoria::calibration {
class CalibrationWorkflow;
}
namespace tachoria::storage {
class VehicleConfigurationRepository;
}

namespace tachoria::qml {

class CalibrationParameterModel;
class QmlAppController;
class QmlSettingsController;

// What the calibration pages talk to. It keeps the form's copy of the parameters, runs every tachograph
// operation on its worker thread (which also keeps the session alive with tester-present between
// them) and turns the results into properties and messages. It also owns what needs no tachograph:
// the tyre calculation, the vehicle catalogue and the saved vehicle configurations.
class QmlCalibrationController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool busy READ busy NOTIFY stateChanged)
    Q_PROPERTY(bool readCompleted READ readCompleted NOTIFY stateChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY stateChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY stateChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY stateChanged)
    Q_PROPERTY(QString canResult READ canResult NOTIFY stateChanged)
    Q_PROPERTY(bool canDetectionAvailable READ canDetectionAvailable NOTIFY stateChanged)
    Q_PROPERTY(int canDetectedSpeed READ canDetectedSpeed NOTIFY stateChanged)
    // The journal row of the last successful write, -1 when none: its documents are one step away.
    Q_PROPERTY(int writtenRecordId READ writtenRecordId NOTIFY stateChanged)
    Q_PROPERTY(int canDetectedIdentifier READ canDetectedIdentifier NOTIFY stateChanged)
    Q_PROPERTY(int canDetectedBus READ canDetectedBus NOTIFY stateChanged)
    Q_PROPERTY(int sourceSpeedMask READ sourceSpeedMask NOTIFY stateChanged)
    Q_PROPERTY(quint32 impulses READ impulses NOTIFY stateChanged)
    Q_PROPERTY(bool impulseCounting READ impulseCounting NOTIFY stateChanged)
    Q_PROPERTY(int localTimeHour READ localTimeHour WRITE setLocalTimeHour NOTIFY stateChanged)
    Q_PROPERTY(int localTimeMinute READ localTimeMinute WRITE setLocalTimeMinute NOTIFY stateChanged)
    // Name to shown text. A map object rather than a copied map: a binding on one name is woken only
    // when that name's text changes, and no change of state copies the whole form into JavaScript.
    Q_PROPERTY(QQmlPropertyMap* values READ valueMap NOTIFY stateChanged)
    Q_PROPERTY(QVariantMap validationErrors READ validationErrors NOTIFY stateChanged)
    Q_PROPERTY(QVariantList vehicleManufacturers READ vehicleManufacturers NOTIFY stateChanged)
    Q_PROPERTY(uint vehicleConfigurationRevision READ vehicleConfigurationRevision NOTIFY
                   vehicleConfigurationsChanged)
    Q_PROPERTY(QAbstractItemModel* parameters READ parameterModel NOTIFY stateChanged)

public:
    QmlCalibrationController(QmlSettingsController* settings, QmlAppController* app,
                             QObject* parent = nullptr);
    ~QmlCalibrationController() override;

    bool busy() const { return m_busy; }
    bool readCompleted() const { return m_readCompleted; }
    bool connected() const { return m_connected; }
    QString statusText() const { return m_statusText; }
    QString lastError() const { return m_lastError; }
    QString canResult() const { return m_canResult; }
    bool canDetectionAvailable() const { return m_canDetectionAvailable; }
    int canDetectedSpeed() const { return m_canDetectedSpeed; }
    int writtenRecordId() const { return m_writtenRecordId; }
    int canDetectedIdentifier() const { return m_canDetectedIdentifier; }
    int canDetectedBus() const { return m_canDetectedBus; }
    int sourceSpeedMask() const { return m_sourceSpeedMask; }
    quint32 impulses() const { return m_impulses; }
    bool impulseCounting() const { return m_impulseCounting; }
    int localTimeHour() const { return m_localTimeHour; }
    int localTimeMinute() const { return m_localTimeMinute; }
    void setLocalTimeHour(int value);
    void setLocalTimeMinute(int value);
    QVariantMap values() const;
    QQmlPropertyMap* valueMap() const { return m_valueMap; }
    QVariantMap validationErrors() const { return m_validationErrors; }
    QVariantList vehicleManufacturers() const { return m_vehicleManufacturers; }
    uint vehicleConfigurationRevision() const { return m_vehicleConfigurationRevision; }
    QAbstractItemModel* parameterModel() const;
    const QList<calibration::CalibrationParameter>& parameterList() const { return m_parameters; }

    Q_INVOKABLE QString parameterValue(const QString& name) const;
    Q_INVOKABLE int parameterMaximumLength(const QString& name) const;
    Q_INVOKABLE QString parameterHint(const QString& name) const;
    Q_INVOKABLE bool parameterSupported(const QString& name) const;
    Q_INVOKABLE void read();
    Q_INVOKABLE void write(bool skipVehicleRegistration);
    Q_INVOKABLE void startAdjustment();
    Q_INVOKABLE void startImpulses();
    Q_INVOKABLE void stopImpulses();
    Q_INVOKABLE void resetImpulseMeasurement();
    Q_INVOKABLE bool saveMeasuredK(int value);
    Q_INVOKABLE void detectCan(int can);
    Q_INVOKABLE void findSourceSpeed();
    Q_INVOKABLE void cancelSourceSpeedSearch();
    Q_INVOKABLE bool applyDetectedCan(int can);
    Q_INVOKABLE bool applyDetectedSourceSpeed(int sourceIndex);
    Q_INVOKABLE QString calculateTireCircumference(const QString& marking);
    Q_INVOKABLE void setParameter(int index, const QString& value);
    Q_INVOKABLE bool setParameterValue(const QString& name, const QString& value);
    Q_INVOKABLE QVariantList vehicleModels(int manufacturerId);
    Q_INVOKABLE QVariantList vehicleModelsForManufacturer(const QString& manufacturer);
    Q_INVOKABLE QVariantMap vehicleModelInfo(int manufacturerId, int modelId);
    Q_INVOKABLE bool applyVehicleModel(int manufacturerId, int modelId);
    Q_INVOKABLE QVariantList vehicleConfigurations();
    Q_INVOKABLE QVariantMap vehicleConfiguration(int id);
    Q_INVOKABLE bool vehicleConfigurationExists(const QString& manufacturer, const QString& model);
    Q_INVOKABLE QVariantMap currentConfigurationParameters() const;
    Q_INVOKABLE QVariantList configurationFieldList(const QVariantMap& parameters) const;
    Q_INVOKABLE QVariantList configurationChangeList(const QVariantMap& parameters) const;
    Q_INVOKABLE bool saveVehicleConfiguration(const QString& manufacturer, const QString& model);
    Q_INVOKABLE bool applyVehicleConfiguration(int id);
    Q_INVOKABLE bool deleteVehicleConfiguration(int id);
    Q_INVOKABLE void stop();

    // For the application controller: loads the vehicle catalogue on a thread of its own.
    void initializeVehicleCatalog();
    calibration::CalibrationSettings settings() const;

Q_SIGNALS:
    void stateChanged();
    void message(const QString& text);
    void validationFailed(const QString& text);
    void writeSucceeded(const QString& text);
    void vehicleConfigurationsChanged();

private:
    // What a job on the worker hands back; each operation uses the fields it needs.
    struct JobResult
    {
        bool ok = false;
        QString error;
        bool connected = false;
        QList<calibration::CalibrationParameter> parameters;
        quint32 count = 0;
        QByteArray bytes;
        int recordId = -1;
    };
    using Job = std::function<JobResult(calibration::CalibrationWorkflow&)>;
    using Done = std::function<void(const JobResult&)>;

    // Marks the form busy with a status and runs the job on the worker; `done` runs on this thread,
    // unless a stop has voided the job meanwhile.
    void runJob(const QString& status, Job job, Done done);
    void finishJob();
    void setError(const QString& text);
    void setStatus(const QString& text);
    void onProgress(const QString& text);
    void onTesterPresentFailed(const QString& text);
    void setLocalTime(int hour, int minute);
    void refreshParameters(const QList<calibration::CalibrationParameter>& parameters);
    // Brings the shown texts in line with the form after any change of it.
    void syncValues();
    bool validateParameters(bool skipVehicleRegistration);
    int parameterIndex(const QString& name) const;
    const calibration::CalibrationParameter* findParameter(const QString& name) const;
    void clearCanDetection();
    void applyCatalog(const QList<storage::Manufacturer>& catalog);
    const storage::VehicleModel* catalogModel(int manufacturerId, int modelId) const;
    storage::VehicleConfigurationRepository& configurations();

    QmlSettingsController* m_settings;
    QmlAppController* m_app;
    calibration::CalibrationWorkflow* m_workflow = nullptr;
    QThread* m_thread = nullptr;
    CalibrationParameterModel* m_parameterModel = nullptr;
    QQmlPropertyMap* m_valueMap = nullptr;
    QList<calibration::CalibrationParameter> m_parameters;
    bool m_busy = false;
    bool m_readCompleted = false;
    bool m_connected = false;
    QString m_statusText;
    QString m_lastError;
    QString m_canResult;
    bool m_canDetectionAvailable = false;
    int m_canDetectedSpeed = -1;
    int m_writtenRecordId = -1;
    int m_canDetectedIdentifier = -1;
    int m_canDetectedBus = -1;
    int m_sourceSpeedMask = -1;
    std::atomic_bool m_cancelSourceSearch{false};
    bool m_sourceSearchRunning = false;
    bool m_impulseCounting = false;
    quint32 m_impulses = 0;
    int m_localTimeHour = 3;
    int m_localTimeMinute = 0;
    QVariantMap m_validationErrors;
    QHash<QString, QString> m_pendingValues;
    QVariantList m_vehicleManufacturers;
    QList<storage::Manufacturer> m_catalog;
    bool m_vehicleCatalogLoading = false;
    QThread* m_catalogThread = nullptr;
    uint m_vehicleConfigurationRevision = 0;
    std::unique_ptr<storage::VehicleConfigurationRepository> m_configurations;
    // Bumped by stop(): results of jobs started before it are void.
    quint64 m_generation = 0;
};

} // namespace tachoria::qml
