#include "qml_controllers/qml_ddd_controller.h"

#include "ddd/activity_analyzer.h"
#include "ddd/ddd_decoder.h"
#include "ddd/ddd_repository.h"
#include "documents/ddd_report_renderer.h"
#include "qml_controllers/ddd_table_model.h"
#include "storage/app_paths.h"

#include <QDateTime>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QQmlEngine>
#include <QThread>

#include <cmath>

namespace tachoria::qml {

using namespace Qt::StringLiterals;
using ddd::DatasetRows;
using ddd::DddFileType;
using ddd::DddReport;

namespace {

const QString kOpenFirst = u"Сначала откройте корректный файл .ddd"_s;

// The days of a report's activity changes in their order, each with its date where the report knows it.
QVariantList activityDayList(const DddReport& report)
{
    const QHash<QString, QString> dates = report.dayDates();
    QVariantList days;
    for (const ddd::ActivityAnalyzer::DayData& day :
         ddd::ActivityAnalyzer::buildDays(report.activityChanges)) {
        const QString date = dates.value(day.dayKey);
        days.append(
            QVariantMap{{u"key"_s, day.dayKey},
                        {u"label"_s, date.isEmpty() ? day.dayKey : u"%1 (%2)"_s.arg(date, day.dayKey)}});
    }
    return days;
}

QVariantList pointList(const QList<documents::ChartPoint>& points)
{
    QVariantList list;
    list.reserve(points.size());
    for (const documents::ChartPoint& point : points)
        list.append(QVariantMap{{u"label"_s, point.label},
                                {u"value"_s, point.value},
                                {u"minimum"_s, point.minimum},
                                {u"maximum"_s, point.maximum}});
    return list;
}

QString localPath(const QString& text)
{
    const QUrl url(text);
    return url.isLocalFile() ? url.toLocalFile() : text;
}

} // namespace

// What the worker hands back: the report and everything the page reads of it, made off the GUI thread.
struct QmlDddController::Decoded
{
    DddReport report;
    QString error;
    QVariantMap summary;
    QVariantList blocks;
    QVariantList activityDays;
};

QmlDddController::QmlDddController(QObject* parent)
    : QObject(parent)
    , m_statusText(u"Выберите файл .ddd"_s)
{
}

QmlDddController::~QmlDddController()
{
    if (m_worker) {
        m_worker->wait();
        delete m_worker;
    }
}

QString QmlDddController::fileType() const
{
    return hasReport() ? ddd::Decoder::typeName(m_report.fileType) : QString();
}

QVariantList QmlDddController::list(const DatasetRows& rows)
{
    QVariantList list;
    list.reserve(rows.size());
    for (qsizetype row = 0; row < rows.size(); ++row)
        list.append(rows.at(row));
    return list;
}

QVariantMap QmlDddController::datasetCounts() const
{
    QVariantMap counts;
    for (const QString& name : DddReport::datasetNames())
        counts.insert(name, m_report.dataset(name)->size());
    counts.insert(u"blocks"_s, m_blocks.size());
    return counts;
}

QStringList QmlDddController::fileNumbers() const
{
    QStringList numbers;
    for (const ddd::DddBlock& block : m_report.blocks)
        numbers.append(block.fileNumber);
    return numbers;
}

QVariantList QmlDddController::activityDays() const
{
    return m_activityDays;
}

void QmlDddController::fail(const QString& error, const QString& status)
{
    m_lastError = error;
    m_statusText = status;
    Q_EMIT stateChanged();
}

bool QmlDddController::runJob(std::function<void()> work, std::function<void()> done)
{
    if (m_worker)
        return false;
    m_worker = QThread::create(std::move(work));
    // The result is taken when the thread has ended, so that a finished job never blocks the next.
    connect(m_worker, &QThread::finished, this, [this, done = std::move(done)] {
        m_worker->deleteLater();
        m_worker = nullptr;
        done();
    });
    m_worker->start();
    return true;
}

bool QmlDddController::openFile(const QString& path)
{
    if (m_busy || m_worker)
        return false;
    clear();
    m_busy = true;
    m_statusText = u"Разбор файла .ddd..."_s;
    Q_EMIT stateChanged();

    const QString file = localPath(path.trimmed());
    const QFileInfo info(file);
    QString error;
    if (file.isEmpty())
        error = u"Файл не выбран"_s;
    else if (!info.exists())
        error = u"Файл не найден: %1"_s.arg(file);
    else if (!info.isFile())
        error = u"Выбранный путь не является файлом: %1"_s.arg(file);
    if (!error.isEmpty()) {
        m_busy = false;
        fail(error, u"Ошибка разбора"_s);
        return false;
    }
    auto decoded = std::make_shared<Decoded>();
    return runJob(
        [decoded, file] {
            decoded->report = ddd::Decoder::decodeFile(file, &decoded->error);
            decoded->summary = decoded->report.summary();
            decoded->blocks = decoded->report.blockRows();
            decoded->activityDays = activityDayList(decoded->report);
        },
        [this, decoded] { finishDecoding(std::move(*decoded)); });
}

void QmlDddController::finishDecoding(Decoded decoded)
{
    m_busy = false;
    if (decoded.report.fileType == DddFileType::Unknown) {
        m_lastError = decoded.error.isEmpty() ? u"Не удалось определить формат DDD"_s : decoded.error;
        m_statusText = u"Ошибка разбора"_s;
        Q_EMIT stateChanged();
        return;
    }
    m_activityDays = std::move(decoded.activityDays);
    setReport(std::move(decoded.report), std::move(decoded.summary), std::move(decoded.blocks));
    m_statusText = u"Разбор завершён"_s;
    Q_EMIT stateChanged();
}

bool QmlDddController::openDocument(const QUrl& url)
{
    return openFile(url.isLocalFile() ? url.toLocalFile() : url.toString());
}

bool QmlDddController::chooseAndOpenFile()
{
    const QString path =
        QFileDialog::getOpenFileName(nullptr, u"Выберите файл DDD"_s, storage::AppPaths::downloadDirectory(),
                                     u"Файлы DDD (*.ddd *.DDD);;Все файлы (*)"_s);
    return !path.isEmpty() && openFile(path);
}

void QmlDddController::clear()
{
    if (m_busy)
        return;
    m_report = DddReport();
    m_summary.clear();
    m_blocks.clear();
    m_activityDays.clear();
    m_lastError.clear();
    m_statusText = u"Выберите файл .ddd"_s;
    refreshModels();
    Q_EMIT stateChanged();
}

void QmlDddController::setReport(DddReport report, QVariantMap summary, QVariantList blocks)
{
    m_report = std::move(report);
    m_summary = std::move(summary);
    m_blocks = std::move(blocks);
    m_lastError.clear();
    refreshModels();
}

void QmlDddController::refreshModels()
{
    const QHash<QString, QString> dates = m_report.dayDates();
    for (auto it = m_models.cbegin(); it != m_models.cend(); ++it) {
        if (it.key() == u"blocks"_s) {
            DatasetRows rows;
            for (const QVariant& block : std::as_const(m_blocks))
                rows.append(block.toMap());
            it.value()->setRows(rows);
        } else if (it.key() == u"analysisDays"_s) {
            const QVariantList items =
                m_report.analysis.value(u"workingHours"_s).toMap().value(u"items"_s).toList();
            DatasetRows rows;
            rows.reserve(items.size());
            for (const QVariant& item : items)
                rows.append(item.toMap());
            it.value()->setRows(rows, dates);
        } else if (const DatasetRows* rows = m_report.dataset(it.key())) {
            it.value()->setRows(*rows, dates);
        }
    }
}

QObject* QmlDddController::datasetModel(const QString& name)
{
    DddTableModel* model = m_models.value(name);
    if (!model) {
        if (name != u"blocks"_s && name != u"analysisDays"_s && !m_report.dataset(name))
            return nullptr;
        model = new DddTableModel(this);
        QQmlEngine::setObjectOwnership(model, QQmlEngine::CppOwnership);
        m_models.insert(name, model);
        refreshModels();
    }
    return model;
}

bool QmlDddController::ensureRepository()
{
    if (!m_repository)
        m_repository = std::make_unique<ddd::DddRepository>();
    return m_repository->isOpen();
}

bool QmlDddController::openDataFolder()
{
    const QString folder = storage::AppPaths::downloadDirectory();
    QDir().mkpath(folder);
    return QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

bool QmlDddController::saveReport()
{
    if (!hasReport() || m_busy || m_worker) {
        if (!hasReport())
            fail(kOpenFirst, u"Отчёт не сохранён"_s);
        return false;
    }
    if (!ensureRepository()) {
        fail(m_repository->lastError().isEmpty() ? kOpenFirst : m_repository->lastError(),
             u"Отчёт не сохранён"_s);
        return false;
    }
    struct Saved
    {
        qint64 duplicate = 0;
        qint64 id = -1;
        QString error;
    };
    auto saved = std::make_shared<Saved>();
    const DddReport report = m_report;
    m_busy = true;
    m_statusText = u"Сохранение отчёта..."_s;
    Q_EMIT stateChanged();
    // A unit's report is tens of thousands of rows: the worker writes them over its own connection.
    return runJob(
        [saved, report] {
            ddd::DddRepository repository;
            saved->duplicate = repository.findDuplicateReport(report);
            if (saved->duplicate == 0)
                saved->id = repository.save(report);
            saved->error = repository.lastError();
        },
        [this, saved] {
            m_busy = false;
            if (saved->duplicate < 0 || (saved->duplicate == 0 && saved->id < 0)) {
                fail(saved->error, u"Отчёт не сохранён"_s);
                return;
            }
            if (saved->duplicate > 0) {
                m_lastError.clear();
                m_statusText = u"Этот отчёт уже сохранён (№%1)"_s.arg(saved->duplicate);
                Q_EMIT stateChanged();
                Q_EMIT duplicateReportDetected(saved->duplicate);
                return;
            }
            m_lastError.clear();
            m_statusText = u"Отчёт сохранён в ReportsDB.db (№%1)"_s.arg(saved->id);
            Q_EMIT stateChanged();
            refreshSavedReports();
        });
}

bool QmlDddController::exportReportPdf(const QString& path, const QVariantMap& options)
{
    if (!hasReport()) {
        fail(kOpenFirst, u"Отчёт не сформирован"_s);
        return false;
    }
    QString target = localPath(path.trimmed());
    if (target.isEmpty()) {
        fail(u"Не задан путь для сохранения отчёта"_s, u"Отчёт не сформирован"_s);
        return false;
    }
    if (!target.endsWith(u".pdf"_s, Qt::CaseInsensitive))
        target += u".pdf"_s;
    if (m_busy || m_worker)
        return false;
    auto error = std::make_shared<QString>();
    auto written = std::make_shared<bool>(false);
    const DddReport report = m_report;
    m_busy = true;
    m_statusText = u"Формирование отчёта..."_s;
    Q_EMIT stateChanged();
    // Hundreds of pages of a unit's activities take seconds: they are drawn off the GUI thread.
    return runJob(
        [report, target, options, error, written] {
            *written = documents::DddReportRenderer::writePdf(target, report, options, error.get());
        },
        [this, error, written, target] {
            m_busy = false;
            if (!*written) {
                fail(u"PDF не создан: %1"_s.arg(*error), u"Ошибка формирования отчёта"_s);
                return;
            }
            m_lastError.clear();
            m_statusText = u"Отчёт сохранён: %1"_s.arg(target);
            Q_EMIT stateChanged();
        });
}

bool QmlDddController::exportReportPdfDocument(const QUrl& url, const QVariantMap& options)
{
    Q_UNUSED(url)
    Q_UNUSED(options)
    fail(u"Сохранение через Android-документы доступно только на Android"_s, u"Отчёт не сформирован"_s);
    return false;
}

void QmlDddController::refreshSavedReports()
{
    if (!ensureRepository()) {
        m_lastError = m_repository->lastError();
        Q_EMIT stateChanged();
        return;
    }
    m_savedReports = m_repository->listReports();
    Q_EMIT savedReportsChanged();
}

bool QmlDddController::openSavedReport(qint64 id, int type)
{
    if (m_busy || m_worker)
        return false;
    const DddFileType kind = type == 2 ? DddFileType::Tachograph : DddFileType::DriverCard;
    auto decoded = std::make_shared<Decoded>();
    clear();
    m_busy = true;
    m_statusText = u"Загрузка сохранённого отчёта..."_s;
    Q_EMIT stateChanged();
    return runJob(
        [decoded, id, kind] {
            ddd::DddRepository repository;
            if (std::optional<DddReport> report = repository.loadReport(id, kind)) {
                decoded->report = std::move(*report);
                decoded->summary = decoded->report.summary();
                decoded->blocks = decoded->report.blockRows();
                decoded->activityDays = activityDayList(decoded->report);
            }
            decoded->error = repository.lastError();
        },
        [this, decoded, id] {
            m_busy = false;
            if (decoded->report.fileType == DddFileType::Unknown || decoded->summary.isEmpty()) {
                fail(u"Сохранённый отчёт не найден"_s, u"Сохранённый отчёт не найден"_s);
                return;
            }
            m_activityDays = std::move(decoded->activityDays);
            setReport(std::move(decoded->report), std::move(decoded->summary), std::move(decoded->blocks));
            m_statusText = u"Сохранённый отчёт №%1 открыт"_s.arg(id);
            Q_EMIT stateChanged();
        });
}

bool QmlDddController::deleteSavedReport(qint64 id, int type)
{
    if (!ensureRepository() ||
        !m_repository->remove(id, type == 2 ? DddFileType::Tachograph : DddFileType::DriverCard)) {
        m_lastError = m_repository->lastError();
        Q_EMIT stateChanged();
        return false;
    }
    refreshSavedReports();
    m_lastError.clear();
    m_statusText = u"Сохранённый отчёт удалён"_s;
    Q_EMIT stateChanged();
    return true;
}

QVariantList QmlDddController::chartPoints(int chartType, int zoom) const
{
    using R = documents::DddReportRenderer;
    const DddReport& r = m_report;
    QList<documents::ChartPoint> points;
    switch (chartType) {
    case 1: {
        // The per-second series, bounded to a few hundred groups a screen at any zoom.
        const QList<double> samples = R::speedSamples(r);
        const qsizetype groups = 800 * std::clamp(zoom, 1, 20);
        const qsizetype step = std::max<qsizetype>(1, qsizetype(std::ceil(samples.size() / double(groups))));
        for (qsizetype first = 0; first < samples.size(); first += step) {
            const qsizetype end = std::min(samples.size(), first + step);
            double sum = 0, low = samples.at(first), high = low;
            for (qsizetype i = first; i < end; ++i) {
                sum += samples.at(i);
                low = std::min(low, samples.at(i));
                high = std::max(high, samples.at(i));
            }
            points.append({QString::number(first), sum / double(end - first), low, high});
        }
        break;
    }
    case 2:
        for (const QVariantMap& vehicle : r.vehicles.toList()) {
            const double distance =
                std::max(0.0, R::numericValue(vehicle, {u"vehicleOdometerEnd"_s}, 0) -
                                  R::numericValue(vehicle, {u"vehicleOdometerBegin"_s}, 0));
            points.append({R::rowValue(vehicle, {u"vehicleRegistrationNumber1"_s}), distance, 0, distance});
        }
        break;
    case 3:
        points = R::categoryCounts((r.tachoEvents.isEmpty() ? r.events : r.tachoEvents).toList(),
                                   {u"eventType"_s, u"eventType1"_s});
        break;
    case 4:
        points = R::categoryCounts((r.tachoFaults.isEmpty() ? r.faults : r.tachoFaults).toList(),
                                   {u"faultType"_s, u"faultType1"_s});
        break;
    case 5: {
        const QHash<QString, QString> dates = r.dayDates();
        for (const QVariantMap& day : r.dayInformation.toList()) {
            const double value = R::numericValue(day, {u"odometerValueMidnight"_s}, -1);
            const QString key = R::rowValue(day, {u"dayNo"_s});
            if (value >= 0)
                points.append({dates.value(key, key), value, value, value});
        }
        break;
    }
    case 6: {
        const DatasetRows& places = r.placeDailyWorkPeriod.isEmpty() ? r.places : r.placeDailyWorkPeriod;
        QList<QVariantMap> labelled;
        for (const QVariantMap& place : places.toList()) {
            const QString region = R::rowValue(place, {u"dailyWorkPeriodRegion"_s}).trimmed();
            const QString country = R::rowValue(place, {u"dailyWorkPeriodCountry"_s}).trimmed();
            labelled.append(
                {{u"place"_s,
                  region.isEmpty() || region == u"0"_s ? country : u"%1 / %2"_s.arg(country, region)}});
        }
        points = R::categoryCounts(labelled, {u"place"_s});
        break;
    }
    case 7:
        for (const QVariantMap& calibration : r.calibrationData.toList()) {
            const QString purpose = R::rowValue(calibration, {u"calibrationPurpose"_s});
            for (const auto& [key, label] : {std::pair{u"wVehicleCharacteristicConstant"_s, u"W"_s},
                                             {u"kConstantOfRecordingEquipment"_s, u"K"_s},
                                             {u"iTyreCircumference"_s, u"L"_s},
                                             {u"authorisedSpeed"_s, u"V"_s},
                                             {u"oldOdometerValue"_s, u"Одометр до"_s},
                                             {u"newOdometerValue"_s, u"Одометр после"_s}}) {
                const double value = R::numericValue(calibration, {key}, 0);
                points.append({u"%1 (%2)"_s.arg(label, purpose), value, 0, value});
            }
        }
        break;
    case 8: {
        const QHash<QString, QString> dates = r.dayDates();
        for (const QVariant& item : r.analysis.value(u"workingHours"_s).toMap().value(u"items"_s).toList()) {
            const QVariantMap day = item.toMap();
            const double hours = day.value(u"workMinutes"_s).toDouble() / 60.0;
            const QString key = day.value(u"dayNumber"_s).toString();
            points.append({dates.value(key, key), hours, 0, hours});
        }
        break;
    }
    default: {
        // Changes a day, for the overview of the activity chart.
        const DatasetRows& rows = r.activityDaily.isEmpty() ? r.activityChanges : r.activityDaily;
        points = R::categoryCounts(rows.toList(), {u"dayNo"_s, u"day"_s, u"activityDailyPresenceCounter1"_s});
        break;
    }
    }
    return pointList(points);
}

QVariantList QmlDddController::activityIntervals(const QString& day) const
{
    // One lane a slot: the rows of the day and slot, ordered and classified as the analysis does.
    QHash<QString, DatasetRows> slots;
    QStringList order;
    const DatasetRows& changes = m_report.activityChanges;
    for (qsizetype row = 0; row < changes.size(); ++row) {
        const auto value = [&changes, row](QStringView key) { return changes.value(row, key); };
        if (ddd::ActivityAnalyzer::dayKeyFor(value) != day)
            continue;
        const QString slot = changes.value(row, u"slot").toString();
        if (!order.contains(slot))
            order.append(slot);
        slots[slot].append(changes.at(row));
    }
    static const char* const kKinds[] = {"driving", "available", "work", "rest", "unknown"};
    QVariantList intervals;
    for (const QString& slot : std::as_const(order)) {
        const QList<ddd::ActivityAnalyzer::DayData> days =
            ddd::ActivityAnalyzer::buildDays(slots.value(slot));
        if (days.isEmpty())
            continue;
        const QList<ddd::ActivityAnalyzer::Event>& events = days.first().events;
        for (qsizetype i = 0; i < events.size(); ++i) {
            const ddd::ActivityAnalyzer::Event& event = events.at(i);
            if (!event.valid)
                continue;
            const int end = i + 1 < events.size() && events.at(i + 1).valid ? events.at(i + 1).minutes : 1440;
            if (end <= event.minutes)
                continue;
            intervals.append(QVariantMap{
                {u"slot"_s, slot},
                {u"lane"_s, order.indexOf(slot)},
                {u"start"_s, event.minutes},
                {u"end"_s, end},
                {u"kind"_s,
                 event.inserted ? QString::fromLatin1(kKinds[std::clamp(event.kind, 0, 4)]) : u"none"_s}});
        }
    }
    return intervals;
}

QVariantList QmlDddController::pdfSections() const
{
    static const QHash<QString, QString> titles = {
        {u"basicInfo"_s, u"Основная информация"_s},
        {u"statistics"_s, u"Статистика"_s},
        {u"events"_s, u"События"_s},
        {u"faults"_s, u"Неисправности"_s},
        {u"vehicles"_s, u"Использованные транспортные средства"_s},
        {u"places"_s, u"Места рабочего периода"_s},
        {u"icc"_s, u"ICC"_s},
        {u"ic"_s, u"IC"_s},
        {u"applicationIdentification"_s, u"Идентификация приложения"_s},
        {u"cardIdentification"_s, u"Идентификация карты"_s},
        {u"cardDownload"_s, u"Загрузка карты"_s},
        {u"drivingLicence"_s, u"Водительское удостоверение"_s},
        {u"asn1"_s, u"ASN.1 поля"_s},
        {u"tachoEvents"_s, u"События тахографа"_s},
        {u"tachoFaults"_s, u"Неисправности тахографа"_s},
        {u"overspeed"_s, u"Превышения скорости"_s},
        {u"calibration"_s, u"Данные калибровки"_s},
        {u"detailedSpeed"_s, u"Детальная скорость"_s},
        {u"specificConditions"_s, u"Специальные условия"_s},
        {u"vuIdentification"_s, u"Информация VU"_s},
        {u"sensor"_s, u"Сопряжённый датчик"_s},
        {u"downloadActivity"_s, u"Активность выгрузки"_s},
        {u"companyLocks"_s, u"Блокировки компании"_s},
        {u"controlActivity"_s, u"Контрольная активность"_s},
        {u"currentUsage"_s, u"Текущее использование"_s},
        {u"timeAdjustments"_s, u"Корректировки времени"_s},
        {u"cardIwData"_s, u"Card IW"_s},
        {u"dayInformation"_s, u"Дни тахографа"_s},
        {u"analysis"_s, u"Анализ рабочего времени и нарушений"_s},
    };
    const bool card = m_report.fileType == DddFileType::DriverCard;
    QVariantList sections;
    for (const QString& key : documents::DddReportRenderer::sectionKeys(m_report.fileType)) {
        const QString title = key == u"activity"_s
                                  ? (card ? u"Изменения активности"_s : u"Ежедневная активность"_s)
                                  : titles.value(key);
        sections.append(QVariantMap{{u"key"_s, key}, {u"title"_s, title}});
    }
    return sections;
}

QVariantList QmlDddController::pdfGraphs() const
{
    const QStringList titles = {u"Изменения активности по дням"_s,
                                u"Детальная скорость"_s,
                                u"Пробег по автомобилям"_s,
                                u"События"_s,
                                u"Неисправности"_s,
                                u"Показания одометра по дням"_s,
                                u"Посещённые места"_s,
                                u"Калибровки"_s,
                                u"Рабочее время по дням"_s};
    const QStringList keys = documents::DddReportRenderer::chartKeys();
    QVariantList graphs;
    for (qsizetype i = 0; i < keys.size(); ++i)
        graphs.append(QVariantMap{{u"key"_s, keys.at(i)}, {u"title"_s, titles.at(i)}});
    return graphs;
}

QString QmlDddController::suggestedPdfPath() const
{
    const QString base =
        m_report.fileName.isEmpty() ? u"report"_s : QFileInfo(m_report.fileName).completeBaseName();
    return QDir(storage::AppPaths::data() + u"/Reports"_s).filePath(base + u".pdf"_s);
}

QString QmlDddController::choosePdfPath(const QString& current)
{
    const QString path =
        QFileDialog::getSaveFileName(nullptr, u"Сохранить отчёт PDF"_s,
                                     current.isEmpty() ? suggestedPdfPath() : current, u"PDF (*.pdf)"_s);
    return path.isEmpty() ? current : path;
}

} // namespace tachoria::qml
