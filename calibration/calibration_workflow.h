#pragma once

#include "calibration/calibration_parameter_codec.h"
#include "protocol/ralona_client.h"
#include "protocol/tachograph_client.h"

#include <QList>
#include <QObject>
#include <QString>

#include <atomic>
#include <functional>

class QTimer;

namespace tachoria::calibration {

// The sequence of a calibration: connect directly or through the adapter, read every parameter, keep
// the diagnostic session alive, write back in catalogue order under the programming session with a
// journal row that outlives any failure, and the measurements a master needs. Every operation blocks
// the calling thread; the tester-present timer runs between operations on the same thread.
class CalibrationWorkflow : public QObject
{
    Q_OBJECT

public:
    static constexpr quint8 StandardSession = 0x81;
    static constexpr quint8 ProgrammingSession = 0x85;
    static constexpr quint8 AdjustmentSession = 0x87;
    static constexpr quint8 SecurityAccessRequestSeed = 0x7D;
    static constexpr quint16 CountImpulses = 0xFD04;
    static constexpr quint16 SourceSpeed = 0xFD10;
    static constexpr quint16 AutoDetectCanSpeed = 0xFD12;
    static constexpr int kTesterPresentIntervalMs = 2000;
    static constexpr int kPauseBetweenIdentifiersMs = 25;

    explicit CalibrationWorkflow(QObject* parent = nullptr);
    ~CalibrationWorkflow() override;

    void configure(const CalibrationSettings& settings);
    const CalibrationSettings& settings() const { return m_settings; }

    bool readCalibration(QString* error = nullptr);
    bool writeCalibration(QString* error = nullptr, bool skipRegistrationNumber = false);
    bool startAdjustmentSession(QString* error = nullptr);
    bool startCountImpulses(QString* error = nullptr);
    bool stopCountImpulses(quint32& count, QString* error = nullptr);
    bool startSearchSourceSpeed(QString* error = nullptr);
    bool readSourceSpeed(QByteArray& bytes, QString* error = nullptr);
    bool findSourceSpeed(QByteArray& out, QString* error = nullptr,
                         const std::function<void(int mask)>& callback = {});
    bool detectCanSpeed(int channel, QByteArray& out, QString* error = nullptr);
    void stopCommunication();

    bool setDisplayValue(int index, const QString& text, QString* error = nullptr);
    void setTimeDateCorrections(int hour, int minute);
    int timeDateCorrectionHour() const;
    int timeDateCorrectionMinute() const;

    const QList<CalibrationParameter>& parameters() const { return m_parameters; }
    void replaceParameters(const QList<CalibrationParameter>& parameters) { m_parameters = parameters; }

    void requestStop() { m_stopRequested = true; }
    void clearStopRequest() { m_stopRequested = false; }
    bool isConnected() const;
    bool parametersRead() const { return m_parametersRead; }
    int calibrationRecordId() const { return m_calibrationRecordId; }

    void startTesterPresent();
    void stopTesterPresent();
    void sendTesterPresent();

    protocol::TachographClient& client() { return m_client; }

Q_SIGNALS:
    void progress(const QString& text, int current, int total);
    void testerPresentFailed(const QString& text);

private:
    bool prepareTransport(QString* error);
    bool readParameter(CalibrationParameter& parameter, QString* error);
    bool writeParameter(const CalibrationParameter& parameter, QString* error);
    // Waits in slices of at most 50 ms; false when a stop was requested meanwhile.
    bool waitUnlessStopped(int ms) const;
    CalibrationParameter* findParameter(quint16 did);
    const CalibrationParameter* findParameter(quint16 did) const;

    CalibrationSettings m_settings;
    QList<CalibrationParameter> m_parameters;
    protocol::TachographClient m_client;
    protocol::RalonaClient m_ralona;
    QTimer* m_testerPresentTimer = nullptr;
    bool m_parametersRead = false;
    bool m_connected = false;
    int m_calibrationRecordId = -1;
    std::atomic_bool m_stopRequested{false};
};

} // namespace tachoria::calibration
