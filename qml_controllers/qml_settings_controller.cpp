#include "qml_controllers/qml_settings_controller.h"

#include "logging/application_logger.h"
#include "platform/serial_devices.h"
#include "protocol/ralona_client.h"
#include "protocol/serial_port_catalog.h"
#include "qml_controllers/qml_helpers.h"
#include "qml_controllers/settings_validation.h"
#include "qml_controllers/startup_catalogs.h"
#include "storage/app_paths.h"
#include "storage/customer_master_repositories.h"
#include "storage/settings_repository.h"
#include "ui/theme_manager.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFont>
#include <QGuiApplication>
#include <QPointer>
#include <QUrl>

#include <algorithm>

namespace tachoria::qml {

namespace {

const QString kPorts = QStringLiteral("Ports");
const QString kMain = QStringLiteral("Main");
const QString kProgram = QStringLiteral("Program");
const QString kShop = QStringLiteral("TACHORIA");
const QString kString = QStringLiteral("String");
const QString kInt = QStringLiteral("Int");
const QString kBool = QStringLiteral("Bool");
const QString kDefaultPrinter = QStringLiteral("По умолчанию");
constexpr int kRalonaBaud = 10400;
constexpr int kRalonaProbeMs = 50;

QString normalisedTheme(const QString& theme)
{
    return ui::ThemeManager::isDark(theme) ? QStringLiteral("Dark") : QStringLiteral("Light");
}

} // namespace

QmlSettingsController::QmlSettingsController(QObject* parent)
    : QObject(parent)
    , m_settings(std::make_unique<storage::SettingsRepository>())
    , m_masterRepository(std::make_unique<storage::MasterRepository>())
    , m_customerRepository(std::make_unique<storage::CustomerRepository>())
{
    // The machine's own serial ports until the settings say otherwise.
    m_calibrationPort = platform::defaultSerialPortName(2);
    m_downloadPort = platform::defaultSerialPortName(1);
    m_ralonaPort = platform::defaultSerialPortName(3);
    if (!m_settings->isOpen())
        m_settings.reset();
    if (!m_masterRepository->isOpen())
        m_masterRepository.reset();
    if (!m_customerRepository->isOpen())
        m_customerRepository.reset();
    loadSettings(false);
}

QmlSettingsController::~QmlSettingsController()
{
    for (const QPointer<QThread>& reader : std::as_const(m_logReaders)) {
        if (reader)
            reader->wait();
    }
}

double QmlSettingsController::uiScale() const
{
    return std::clamp(m_fontSize / 12.0, 0.75, 2.5);
}

int QmlSettingsController::uiPixelSize() const
{
    return std::max(10, int(m_fontSize * 4.0 / 3.0 + 0.5));
}

template <typename T>
void QmlSettingsController::assign(T& field, const T& value)
{
    if (field == value)
        return;
    field = value;
    m_unsaved = true;
    Q_EMIT changed();
}

void QmlSettingsController::setCalibrationPort(const QString& value)
{
    assign(m_calibrationPort, value);
}
void QmlSettingsController::setCalibrationBaud(int value)
{
    assign(m_calibrationBaud, value);
}
void QmlSettingsController::setDownloadPort(const QString& value)
{
    assign(m_downloadPort, value);
}
void QmlSettingsController::setDownloadStartBaud(int value)
{
    assign(m_downloadStartBaud, value);
}
void QmlSettingsController::setDownloadMaxBaud(int value)
{
    assign(m_downloadMaxBaud, value);
}
void QmlSettingsController::setUseRalona(bool value)
{
    assign(m_useRalona, value);
}
void QmlSettingsController::setCardReader(const QString& value)
{
    assign(m_cardReader, value);
}
void QmlSettingsController::setPrinterAct(const QString& value)
{
    assign(m_printerAct, value);
}
void QmlSettingsController::setPrinterLabel(const QString& value)
{
    assign(m_printerLabel, value);
}
void QmlSettingsController::setScanPorts(bool value)
{
    assign(m_scanPorts, value);
}
void QmlSettingsController::setFullScreen(bool value)
{
    assign(m_fullScreen, value);
}
void QmlSettingsController::setTachoriaName(const QString& value)
{
    assign(m_tachoriaName, value);
}
void QmlSettingsController::setTachoriaPost(const QString& value)
{
    assign(m_tachoriaPost, value);
}
void QmlSettingsController::setTachoriaCity(const QString& value)
{
    assign(m_tachoriaCity, value);
}
void QmlSettingsController::setTachoriaStreet(const QString& value)
{
    assign(m_tachoriaStreet, value);
}
void QmlSettingsController::setTachoriaPhone(const QString& value)
{
    assign(m_tachoriaPhone, value);
}
void QmlSettingsController::setTachoriaMark(const QString& value)
{
    assign(m_tachoriaMark, value);
}
void QmlSettingsController::setTachoriaNumber(const QString& value)
{
    assign(m_tachoriaNumber, value);
}

void QmlSettingsController::setRalonaPort(const QString& value)
{
    if (m_ralonaPort == value)
        return;
    m_ralonaPort = value;
    m_unsaved = true;
    Q_EMIT ralonaPortChanged();
    Q_EMIT changed();
}

void QmlSettingsController::setLogEnabled(bool value)
{
    // The switch takes effect at once; saving keeps it for the next start.
    logging::ApplicationLogger::setEnabled(value);
    assign(m_logEnabled, value);
}

void QmlSettingsController::setFontSize(int value)
{
    const int bounded = std::clamp(value, kMinFontSize, kMaxFontSize);
    if (bounded == m_fontSize)
        return;
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        QFont font = QGuiApplication::font();
        font.setPointSize(bounded);
        QGuiApplication::setFont(font);
    }
    assign(m_fontSize, bounded);
}

void QmlSettingsController::setTheme(const QString& value)
{
    const QString theme = normalisedTheme(value);
    if (theme == m_theme)
        return;
    // The look changes at once; only saving keeps it for the next start.
    ui::ThemeManager::apply(theme);
    assign(m_theme, theme);
}

void QmlSettingsController::setError(const QString& text)
{
    m_lastError = text;
    Q_EMIT changed();
}

void QmlSettingsController::loadSettings(bool reload)
{
    if (m_settings) {
        storage::SettingsRepository& s = *m_settings;
        m_calibrationPort = s.value(kPorts, QStringLiteral("CalibrationPortName"), m_calibrationPort);
        m_calibrationBaud = s.intValue(kPorts, QStringLiteral("CalibrationPortBitrate"), 115200);
        m_downloadPort = s.value(kPorts, QStringLiteral("DownloadPortName"), m_downloadPort);
        m_downloadStartBaud = s.intValue(kPorts, QStringLiteral("DownloadPortStartBitrate"), 9600);
        m_downloadMaxBaud = s.intValue(kPorts, QStringLiteral("DownloadPortMaxBitrate"), 115200);
        m_ralonaPort = s.value(kPorts, QStringLiteral("RalonaPortName"), m_ralonaPort);
        m_useRalona = s.boolValue(kMain, QStringLiteral("UseRalona"), false);
        m_cardReader = s.value(kMain, QStringLiteral("CardReader"));
        // A printer never chosen is the system's default one.
        m_printerAct = s.value(kMain, QStringLiteral("PrinterAct"));
        if (m_printerAct.isEmpty())
            m_printerAct = kDefaultPrinter;
        m_printerLabel = s.value(kMain, QStringLiteral("PrinterLabel"));
        if (m_printerLabel.isEmpty())
            m_printerLabel = kDefaultPrinter;
        m_logEnabled = s.boolValue(kMain, QStringLiteral("LogEnable"), true);
        m_scanPorts = s.boolValue(kProgram, QStringLiteral("ScanPorts"), true);
        m_fullScreen = s.boolValue(kProgram, QStringLiteral("FullScreenMode"), false);
        m_fontSize =
            std::clamp(s.intValue(kProgram, QStringLiteral("FontSize"), 12), kMinFontSize, kMaxFontSize);
        m_tachoriaName = s.value(kShop, QStringLiteral("name"));
        m_tachoriaPost = s.value(kShop, QStringLiteral("post"));
        m_tachoriaCity = s.value(kShop, QStringLiteral("city"));
        m_tachoriaStreet = s.value(kShop, QStringLiteral("street"));
        m_tachoriaPhone = s.value(kShop, QStringLiteral("phone"));
        m_tachoriaMark = s.value(kShop, QStringLiteral("mark"));
        m_tachoriaNumber = s.value(kShop, QStringLiteral("NumberInList"));
    }
    const QString theme = storage::SettingsRepository::theme();
    if (theme != m_theme) {
        m_theme = theme;
        if (reload)
            ui::ThemeManager::apply(m_theme);
    }
    m_unsaved = false;
    Q_EMIT ralonaPortChanged();
    Q_EMIT changed();
    if (reload) {
        refreshDevices();
        refreshMasters();
        refreshCustomers(m_customerSearch, m_showInactiveCustomers);
    }
}

void QmlSettingsController::reload()
{
    loadSettings(true);
}

bool QmlSettingsController::storeAll()
{
    struct Row
    {
        const QString& group;
        const char* key;
        QVariant value;
        const QString& type;
    };
    const Row rows[] = {
        {kPorts, "CalibrationPortName", m_calibrationPort, kString},
        {kPorts, "CalibrationPortBitrate", m_calibrationBaud, kInt},
        {kPorts, "DownloadPortName", m_downloadPort, kString},
        {kPorts, "DownloadPortStartBitrate", m_downloadStartBaud, kInt},
        {kPorts, "DownloadPortMaxBitrate", m_downloadMaxBaud, kInt},
        {kPorts, "RalonaPortName", m_ralonaPort, kString},
        {kMain, "UseRalona", m_useRalona ? 1 : 0, kBool},
        {kMain, "CardReader", m_cardReader, kString},
        {kMain, "PrinterAct", m_printerAct, kString},
        {kMain, "PrinterLabel", m_printerLabel, kString},
        {kMain, "LogEnable", m_logEnabled ? 1 : 0, kBool},
        {kProgram, "ScanPorts", m_scanPorts ? 1 : 0, kBool},
        {kProgram, "FullScreenMode", m_fullScreen ? 1 : 0, kBool},
        {kProgram, "FontSize", m_fontSize, kInt},
        {kShop, "name", m_tachoriaName.trimmed(), kString},
        {kShop, "post", m_tachoriaPost.trimmed(), kString},
        {kShop, "city", m_tachoriaCity.trimmed(), kString},
        {kShop, "street", m_tachoriaStreet.trimmed(), kString},
        {kShop, "phone", m_tachoriaPhone.trimmed(), kString},
        {kShop, "mark", m_tachoriaMark.trimmed(), kString},
        {kShop, "NumberInList", m_tachoriaNumber.trimmed(), kString},
    };
    for (const Row& row : rows) {
        if (!m_settings->setValue(row.group, QString::fromLatin1(row.key), row.value, row.type))
            return false;
    }
    return true;
}

bool QmlSettingsController::save()
{
    if (!m_settings) {
        setError(QStringLiteral("База настроек недоступна"));
        return false;
    }
    const QString fault = validateShopData(
        {m_tachoriaName, m_tachoriaPost, m_tachoriaCity, m_tachoriaStreet, m_tachoriaPhone, m_tachoriaMark});
    if (!fault.isEmpty()) {
        setError(fault);
        return false;
    }
    if (!m_settings->beginTransaction() || !storeAll() || !m_settings->commitTransaction()) {
        const QString reason = m_settings->lastError();
        m_settings->rollbackTransaction();
        setError(reason.isEmpty() ? QStringLiteral("Не удалось сохранить настройки.") : reason);
        return false;
    }
    storage::SettingsRepository::setTheme(m_theme);
    ui::ThemeManager::apply(m_theme);
    logging::ApplicationLogger::setEnabled(m_logEnabled);
    m_lastError.clear();
    m_unsaved = false;
    Q_EMIT changed();
    return true;
}

void QmlSettingsController::setLists(const QStringList& ports, const QStringList& readers,
                                     const QStringList& printers)
{
    if (ports != m_ports) {
        m_ports = ports;
        Q_EMIT portsChanged();
    }
    if (readers != m_readers) {
        m_readers = readers;
        Q_EMIT readersChanged();
    }
    if (printers != m_printers) {
        m_printers = printers;
        Q_EMIT printersChanged();
    }
}

void QmlSettingsController::applyStartupCatalogs(const QStringList& ports, const QStringList& readers,
                                                 const QStringList& printers, const QVariantList& masters,
                                                 const QVariantList& customers)
{
    setLists(ports, readers, printers);
    m_masters = masters;
    Q_EMIT mastersChanged();
    m_customers = customers;
    Q_EMIT customersChanged();
}

void QmlSettingsController::refreshDevices()
{
    setLists(sortedPortNames(), cardReaderNames(), printerNames());
}

void QmlSettingsController::setAvailablePorts(const QStringList& ports)
{
    if (ports == m_ports)
        return;
    m_ports = ports;
    Q_EMIT portsChanged();
}

void QmlSettingsController::includeDetectedPort(const QString& port)
{
    const QString name = displayPort(port).trimmed();
    if (name.isEmpty())
        return;
    const auto found = std::find_if(m_ports.begin(), m_ports.end(), [&name](const QString& listed) {
        return listed.compare(name, Qt::CaseInsensitive) == 0;
    });
    const qsizetype index = found == m_ports.end() ? -1 : found - m_ports.begin();
    if (index >= 0) {
        if (m_ports.at(index) == name)
            return;
        m_ports[index] = name;
    } else {
        m_ports.prepend(name);
    }
    Q_EMIT portsChanged();
}

QString QmlSettingsController::persistedValue(const QString& key, const QString& group,
                                              const QString& defaultValue)
{
    return m_settings ? m_settings->value(group, key, defaultValue) : defaultValue;
}

bool QmlSettingsController::persistValue(const QString& key, const QString& group, const QVariant& value,
                                         const QString& type)
{
    return m_settings && m_settings->setValue(group, key, value, type);
}

bool QmlSettingsController::findRalona()
{
    for (const protocol::SerialPortInfo& port : protocol::SerialPortCatalog::available()) {
        protocol::RalonaClient client;
        if (!client.configure(port.name, kRalonaBaud) || !client.open())
            continue;
        const bool answered = client.probe(kRalonaProbeMs);
        client.close();
        if (!answered)
            continue;
        refreshDevices();
        const QString name = displayPort(port.name);
        if (!m_ports.contains(name, Qt::CaseInsensitive)) {
            m_ports.append(name);
            Q_EMIT portsChanged();
        }
        setRalonaPort(name);
        setUseRalona(true);
        // The page shows the error line, so a find is reported there too.
        setError(QStringLiteral("Ралона найдена на порту %1").arg(name));
        return true;
    }
    setUseRalona(false);
    setError(QStringLiteral("Ралона не найдена"));
    return false;
}

bool QmlSettingsController::openLogFolder()
{
    const QString folder = storage::AppPaths::logDirectory();
    if (folder.isEmpty() || !QDesktopServices::openUrl(QUrl::fromLocalFile(folder))) {
        setError(QStringLiteral("Не удалось открыть папку журнала."));
        return false;
    }
    return true;
}

bool QmlSettingsController::clearLogFiles()
{
    const QString folder = storage::AppPaths::logDirectory();
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
        setError(QStringLiteral("Не удалось определить папку журнала."));
        return false;
    }
    // The journal must not write into a file that is being removed.
    const bool wasEnabled = logging::ApplicationLogger::enabled();
    logging::ApplicationLogger::setEnabled(false);
    const int failures = journal::removeFiles(folder);
    logging::ApplicationLogger::setEnabled(wasEnabled);
    m_logEntries.clear();
    if (failures > 0) {
        setError(QStringLiteral("Не удалось удалить файлов журнала: %1.").arg(failures));
        return false;
    }
    return true;
}

QVariantList QmlSettingsController::logFiles() const
{
    return journal::files(storage::AppPaths::logDirectory());
}

QString QmlSettingsController::readLogFile(const QString& path) const
{
    QFile file(validatedLogPath(path));
    if (file.fileName().isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

QVariantList QmlSettingsController::logEntries(const QString& path) const
{
    return journal::entries(validatedLogPath(path));
}

bool QmlSettingsController::showLogFile(const QString& path)
{
    const QString file = validatedLogPath(path);
    m_logEntries.clear();
    if (file.isEmpty())
        return false;
    // A newer request voids the result of an older reader still at work.
    const quint64 generation = ++m_logGeneration;
    QPointer<QmlSettingsController> self(this);
    QThread* reader = QThread::create([self, file, generation] {
        QVector<journal::Record> records = journal::records(file);
        QMetaObject::invokeMethod(
            self.data(),
            [self, generation, records = std::move(records)]() mutable {
                if (!self || generation != self->m_logGeneration)
                    return;
                self->m_logEntries.setRecords(std::move(records));
                self->m_logLoading = false;
                Q_EMIT self->logLoadingChanged();
            },
            Qt::QueuedConnection);
    });
    connect(reader, &QThread::finished, reader, &QObject::deleteLater);
    m_logReaders.removeAll(nullptr);
    m_logReaders.append(reader);
    m_logLoading = true;
    reader->start();
    Q_EMIT logLoadingChanged();
    return true;
}

bool QmlSettingsController::shareLogFile(const QString& path)
{
    const QString file = validatedLogPath(path);
    if (file.isEmpty() || !QFileInfo::exists(file)) {
        setError(QStringLiteral("Файл журнала не найден."));
        return false;
    }
    // On the desktop a file is handed on from its folder.
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(file).absolutePath()))) {
        setError(QStringLiteral("Не удалось открыть файл журнала."));
        return false;
    }
    return true;
}

void QmlSettingsController::refreshMasters()
{
    refreshMastersFiltered(m_masterSearch, m_showInactiveMasters);
}

void QmlSettingsController::refreshMastersFiltered(const QString& search, bool showInactive)
{
    m_masterSearch = search;
    m_showInactiveMasters = showInactive;
    m_masters = m_masterRepository ? masterRows(*m_masterRepository, showInactive, search) : QVariantList();
    Q_EMIT mastersChanged();
}

void QmlSettingsController::refreshCustomers(const QString& search, bool showInactive)
{
    m_customerSearch = search;
    m_showInactiveCustomers = showInactive;
    m_customers =
        m_customerRepository ? customerRows(*m_customerRepository, showInactive, search) : QVariantList();
    Q_EMIT customersChanged();
}

namespace {

template <typename Repository, typename Operation>
bool changeDirectory(QmlSettingsController& controller, Repository* repository, const QString& unavailable,
                     Operation operation)
{
    if (!repository) {
        controller.setError(unavailable);
        return false;
    }
    if (!operation(*repository)) {
        controller.setError(repository->lastError());
        return false;
    }
    return true;
}

const QString kMastersUnavailable = QStringLiteral("База мастеров недоступна");
const QString kCustomersUnavailable = QStringLiteral("База клиентов недоступна");

} // namespace

bool QmlSettingsController::addMaster(const QString& name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) {
        setError(QStringLiteral("Введите ФИО мастера."));
        return false;
    }
    const bool done = changeDirectory(*this, m_masterRepository.get(), kMastersUnavailable,
                                      [&](storage::MasterRepository& r) { return r.addMaster(trimmed) > 0; });
    refreshMasters();
    return done;
}

bool QmlSettingsController::updateMaster(int id, const QString& name)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) {
        setError(QStringLiteral("Введите ФИО мастера."));
        return false;
    }
    const bool done =
        changeDirectory(*this, m_masterRepository.get(), kMastersUnavailable,
                        [&](storage::MasterRepository& r) { return r.updateMaster(id, trimmed); });
    refreshMasters();
    return done;
}

bool QmlSettingsController::removeMaster(int id)
{
    const bool done = changeDirectory(*this, m_masterRepository.get(), kMastersUnavailable,
                                      [&](storage::MasterRepository& r) { return r.deleteMaster(id); });
    refreshMasters();
    return done;
}

bool QmlSettingsController::restoreMaster(int id)
{
    const bool done = changeDirectory(*this, m_masterRepository.get(), kMastersUnavailable,
                                      [&](storage::MasterRepository& r) { return r.restoreMaster(id); });
    refreshMasters();
    return done;
}

bool QmlSettingsController::addCustomer(const QString& name, const QString& address, const QString& phone)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) {
        setError(QStringLiteral("Введите наименование клиента."));
        return false;
    }
    const bool done = changeDirectory(
        *this, m_customerRepository.get(), kCustomersUnavailable, [&](storage::CustomerRepository& r) {
            return r.addCustomer(trimmed, address.trimmed(), phone.trimmed()) > 0;
        });
    refreshCustomers(m_customerSearch, m_showInactiveCustomers);
    return done;
}

bool QmlSettingsController::updateCustomer(int id, const QString& name, const QString& address,
                                           const QString& phone)
{
    const QString trimmed = name.trimmed();
    if (trimmed.isEmpty()) {
        setError(QStringLiteral("Введите наименование клиента."));
        return false;
    }
    const bool done = changeDirectory(
        *this, m_customerRepository.get(), kCustomersUnavailable, [&](storage::CustomerRepository& r) {
            return r.updateCustomer(id, trimmed, address.trimmed(), phone.trimmed());
        });
    refreshCustomers(m_customerSearch, m_showInactiveCustomers);
    return done;
}

bool QmlSettingsController::removeCustomer(int id)
{
    const bool done = changeDirectory(*this, m_customerRepository.get(), kCustomersUnavailable,
                                      [&](storage::CustomerRepository& r) { return r.deleteCustomer(id); });
    refreshCustomers(m_customerSearch, m_showInactiveCustomers);
    return done;
}

bool QmlSettingsController::restoreCustomer(int id)
{
    const bool done = changeDirectory(*this, m_customerRepository.get(), kCustomersUnavailable,
                                      [&](storage::CustomerRepository& r) { return r.restoreCustomer(id); });
    refreshCustomers(m_customerSearch, m_showInactiveCustomers);
    return done;
}

} // namespace tachoria::qml
