#pragma once

#include "qml_controllers/journal_files.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QVariantList>

#include <memory>

namespace tachoria::storage {
class SettingsRepository;
class MasterRepository;
class CustomerRepository;
} // namespace tachoria::storage

namespace tachoria::qml {

// The object behind the settings page, and the common source of settings for every other controller.
// Values live in memory while the master edits them; `save()` validates and stores them at once.
class QmlSettingsController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString calibrationPort READ calibrationPort WRITE setCalibrationPort NOTIFY changed)
    Q_PROPERTY(int calibrationBaud READ calibrationBaud WRITE setCalibrationBaud NOTIFY changed)
    Q_PROPERTY(QString downloadPort READ downloadPort WRITE setDownloadPort NOTIFY changed)
    Q_PROPERTY(int downloadStartBaud READ downloadStartBaud WRITE setDownloadStartBaud NOTIFY changed)
    Q_PROPERTY(int downloadMaxBaud READ downloadMaxBaud WRITE setDownloadMaxBaud NOTIFY changed)
    Q_PROPERTY(QString ralonaPort READ ralonaPort WRITE setRalonaPort NOTIFY ralonaPortChanged)
    Q_PROPERTY(bool useRalona READ useRalona WRITE setUseRalona NOTIFY changed)
    Q_PROPERTY(QString cardReader READ cardReader WRITE setCardReader NOTIFY changed)
    Q_PROPERTY(QString printerAct READ printerAct WRITE setPrinterAct NOTIFY changed)
    Q_PROPERTY(QString printerLabel READ printerLabel WRITE setPrinterLabel NOTIFY changed)
    Q_PROPERTY(bool logEnabled READ logEnabled WRITE setLogEnabled NOTIFY changed)
    Q_PROPERTY(bool scanPorts READ scanPorts WRITE setScanPorts NOTIFY changed)
    Q_PROPERTY(bool fullScreen READ fullScreen WRITE setFullScreen NOTIFY changed)
    Q_PROPERTY(int fontSize READ fontSize WRITE setFontSize NOTIFY changed)
    Q_PROPERTY(QString tachoriaName READ tachoriaName WRITE setTachoriaName NOTIFY changed)
    Q_PROPERTY(QString tachoriaPost READ tachoriaPost WRITE setTachoriaPost NOTIFY changed)
    Q_PROPERTY(QString tachoriaCity READ tachoriaCity WRITE setTachoriaCity NOTIFY changed)
    Q_PROPERTY(QString tachoriaStreet READ tachoriaStreet WRITE setTachoriaStreet NOTIFY changed)
    Q_PROPERTY(QString tachoriaPhone READ tachoriaPhone WRITE setTachoriaPhone NOTIFY changed)
    Q_PROPERTY(QString tachoriaMark READ tachoriaMark WRITE setTachoriaMark NOTIFY changed)
    Q_PROPERTY(QString tachoriaNumber READ tachoriaNumber WRITE setTachoriaNumber NOTIFY changed)
    Q_PROPERTY(QString theme READ theme WRITE setTheme NOTIFY changed)
    Q_PROPERTY(double uiScale READ uiScale NOTIFY changed)
    Q_PROPERTY(int uiPixelSize READ uiPixelSize NOTIFY changed)
    Q_PROPERTY(QStringList ports READ ports NOTIFY portsChanged)
    Q_PROPERTY(QStringList readers READ readers NOTIFY readersChanged)
    Q_PROPERTY(QStringList printers READ printers NOTIFY printersChanged)
    Q_PROPERTY(QVariantList masters READ masters NOTIFY mastersChanged)
    Q_PROPERTY(QVariantList customers READ customers NOTIFY customersChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY changed)
    Q_PROPERTY(bool hasUnsavedChanges READ hasUnsavedChanges NOTIFY changed)
    Q_PROPERTY(tachoria::qml::JournalEntryModel* logEntryModel READ logEntryModel CONSTANT)
    Q_PROPERTY(bool logLoading READ logLoading NOTIFY logLoadingChanged)

public:
    static constexpr int kMinFontSize = 8;
    static constexpr int kMaxFontSize = 30;

    explicit QmlSettingsController(QObject* parent = nullptr);
    ~QmlSettingsController() override;

    QString calibrationPort() const { return m_calibrationPort; }
    int calibrationBaud() const { return m_calibrationBaud; }
    QString downloadPort() const { return m_downloadPort; }
    int downloadStartBaud() const { return m_downloadStartBaud; }
    int downloadMaxBaud() const { return m_downloadMaxBaud; }
    QString ralonaPort() const { return m_ralonaPort; }
    bool useRalona() const { return m_useRalona; }
    QString cardReader() const { return m_cardReader; }
    QString printerAct() const { return m_printerAct; }
    QString printerLabel() const { return m_printerLabel; }
    bool logEnabled() const { return m_logEnabled; }
    bool scanPorts() const { return m_scanPorts; }
    bool fullScreen() const { return m_fullScreen; }
    int fontSize() const { return m_fontSize; }
    QString tachoriaName() const { return m_tachoriaName; }
    QString tachoriaPost() const { return m_tachoriaPost; }
    QString tachoriaCity() const { return m_tachoriaCity; }
    QString tachoriaStreet() const { return m_tachoriaStreet; }
    QString tachoriaPhone() const { return m_tachoriaPhone; }
    QString tachoriaMark() const { return m_tachoriaMark; }
    QString tachoriaNumber() const { return m_tachoriaNumber; }
    QString theme() const { return m_theme; }
    double uiScale() const;
    int uiPixelSize() const;
    QStringList ports() const { return m_ports; }
    QStringList readers() const { return m_readers; }
    QStringList printers() const { return m_printers; }
    QVariantList masters() const { return m_masters; }
    QVariantList customers() const { return m_customers; }
    QString lastError() const { return m_lastError; }
    bool hasUnsavedChanges() const { return m_unsaved; }
    JournalEntryModel* logEntryModel() { return &m_logEntries; }
    bool logLoading() const { return m_logLoading; }

    void setCalibrationPort(const QString& value);
    void setCalibrationBaud(int value);
    void setDownloadPort(const QString& value);
    void setDownloadStartBaud(int value);
    void setDownloadMaxBaud(int value);
    void setRalonaPort(const QString& value);
    void setUseRalona(bool value);
    void setCardReader(const QString& value);
    void setPrinterAct(const QString& value);
    void setPrinterLabel(const QString& value);
    void setLogEnabled(bool value);
    void setScanPorts(bool value);
    void setFullScreen(bool value);
    void setFontSize(int value);
    void setTachoriaName(const QString& value);
    void setTachoriaPost(const QString& value);
    void setTachoriaCity(const QString& value);
    void setTachoriaStreet(const QString& value);
    void setTachoriaPhone(const QString& value);
    void setTachoriaMark(const QString& value);
    void setTachoriaNumber(const QString& value);
    void setTheme(const QString& value);

    Q_INVOKABLE void reload();
    Q_INVOKABLE bool save();
    Q_INVOKABLE void refreshDevices();
    Q_INVOKABLE bool findRalona();
    Q_INVOKABLE bool openLogFolder();
    Q_INVOKABLE bool clearLogFiles();
    Q_INVOKABLE QVariantList logFiles() const;
    Q_INVOKABLE QString readLogFile(const QString& path) const;
    Q_INVOKABLE QVariantList logEntries(const QString& path) const;
    // Fills logEntryModel with a file's records, read on a worker (a 5 MiB file takes a while);
    // logLoading holds meanwhile. False for a path outside the journal's folder.
    Q_INVOKABLE bool showLogFile(const QString& path);
    Q_INVOKABLE bool shareLogFile(const QString& path);
    Q_INVOKABLE void refreshMasters();
    Q_INVOKABLE void refreshMastersFiltered(const QString& search, bool showInactive);
    Q_INVOKABLE bool addMaster(const QString& name);
    Q_INVOKABLE bool updateMaster(int id, const QString& name);
    Q_INVOKABLE bool removeMaster(int id);
    Q_INVOKABLE bool restoreMaster(int id);
    Q_INVOKABLE void refreshCustomers(const QString& search = QString(), bool showInactive = false);
    Q_INVOKABLE bool addCustomer(const QString& name, const QString& address, const QString& phone);
    Q_INVOKABLE bool updateCustomer(int id, const QString& name, const QString& address,
                                    const QString& phone);
    Q_INVOKABLE bool removeCustomer(int id);
    Q_INVOKABLE bool restoreCustomer(int id);
    Q_INVOKABLE void pollMtpFolderPicker() {}

    // For the other controllers, not for QML.
    void applyStartupCatalogs(const QStringList& ports, const QStringList& readers,
                              const QStringList& printers, const QVariantList& masters,
                              const QVariantList& customers);
    void includeDetectedPort(const QString& port);
    // The ports there are now, after a device came or went; what the master typed stays his.
    void setAvailablePorts(const QStringList& ports);
    QString persistedValue(const QString& key, const QString& group, const QString& defaultValue);
    bool persistValue(const QString& key, const QString& group, const QVariant& value,
                      const QString& type = QStringLiteral("String"));
    void setError(const QString& text);

Q_SIGNALS:
    void changed();
    void ralonaPortChanged();
    void portsChanged();
    void readersChanged();
    void printersChanged();
    void mastersChanged();
    void customersChanged();
    void syncChanged();
    void logLoadingChanged();

private:
    void loadSettings(bool reload);
    template <typename T>
    void assign(T& field, const T& value);
    void setLists(const QStringList& ports, const QStringList& readers, const QStringList& printers);
    bool storeAll();

    std::unique_ptr<storage::SettingsRepository> m_settings;
    std::unique_ptr<storage::MasterRepository> m_masterRepository;
    std::unique_ptr<storage::CustomerRepository> m_customerRepository;

    QString m_calibrationPort;
    int m_calibrationBaud = 115200;
    QString m_downloadPort;
    int m_downloadStartBaud = 9600;
    int m_downloadMaxBaud = 115200;
    QString m_ralonaPort;
    bool m_useRalona = false;
    QString m_cardReader;
    QString m_printerAct = QStringLiteral("По умолчанию");
    QString m_printerLabel = QStringLiteral("По умолчанию");
    bool m_logEnabled = true;
    bool m_scanPorts = true;
    bool m_fullScreen = false;
    int m_fontSize = 12;
    QString m_tachoriaName;
    QString m_tachoriaPost;
    QString m_tachoriaCity;
    QString m_tachoriaStreet;
    QString m_tachoriaPhone;
    QString m_tachoriaMark;
    QString m_tachoriaNumber;
    QString m_theme = QStringLiteral("Light");

    QStringList m_ports;
    QStringList m_readers;
    QStringList m_printers;
    QVariantList m_masters;
    QVariantList m_customers;
    QString m_masterSearch;
    bool m_showInactiveMasters = false;
    QString m_customerSearch;
    bool m_showInactiveCustomers = false;
    QString m_lastError;
    bool m_unsaved = false;
    JournalEntryModel m_logEntries;
    QList<QPointer<QThread>> m_logReaders;
    quint64 m_logGeneration = 0;
    bool m_logLoading = false;
};

} // namespace tachoria::qml
