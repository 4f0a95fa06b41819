#include "qml_controllers/qml_helpers.h"

#include "protocol/download_detector.h"
#include "protocol/serial_port_catalog.h"
#include "storage/app_paths.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace tachoria::qml {

QString displayPort(const QString& port)
{
    return protocol::displayPortName(port);
}

bool portNameLess(const QString& a, const QString& b)
{
    const int na = protocol::SerialPortCatalog::trailingNumber(a);
    const int nb = protocol::SerialPortCatalog::trailingNumber(b);
    // A name without a number counts as 0, as the catalogue sorts, which keeps the order strict.
    if (na != nb)
        return na < nb;
    return a.toLower() < b.toLower();
}

QStringList sortedPortNames()
{
    QStringList names;
    for (const protocol::SerialPortInfo& port : protocol::SerialPortCatalog::available()) {
        const QString name = displayPort(port.name);
        if (!name.isEmpty() && !names.contains(name, Qt::CaseInsensitive))
            names.append(name);
    }
    std::stable_sort(names.begin(), names.end(), portNameLess);
    return names;
}

QString documentDate(const QVariant& value)
{
    const QString text = value.toString().trimmed();
    if (text.isEmpty())
        return {};
    QDateTime moment = value.toDateTime();
    if (!moment.isValid())
        moment = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!moment.isValid())
        moment = QDateTime::fromString(text, Qt::ISODate);
    if (!moment.isValid())
        moment = QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    if (!moment.isValid())
        return text;
    return moment.toString(text.contains(QLatin1Char(':')) ? QStringLiteral("dd.MM.yyyy HH:mm")
                                                           : QStringLiteral("dd.MM.yyyy"));
}

QString validatedLogPath(const QString& path, const QString& logDirectory)
{
    if (path.trimmed().isEmpty() || logDirectory.isEmpty())
        return {};
    const QString absolute = QFileInfo(path).absoluteFilePath();
    const QString relative = QDir(logDirectory).relativeFilePath(absolute);
    // The folder itself ("."), or anything above it, is no file of the journal.
    if (relative.isEmpty() || relative == QLatin1String(".") || relative == QLatin1String("..") ||
        relative.startsWith(QLatin1String("../")) || relative.startsWith(QLatin1String("..\\")))
        return {};
    return absolute;
}

QString validatedLogPath(const QString& path)
{
    return validatedLogPath(path, storage::AppPaths::logDirectory());
}

QString firmwareUpdateStatusForUser(const QString& technicalText)
{
    if (technicalText.contains(QLatin1String("TACHOGRAPH NEGATIVE RESPONSE"), Qt::CaseInsensitive))
        return QStringLiteral("Тахограф отклонил команду обновления. Обновление не завершено. Проверьте, что "
                              "прошивка предназначена для этой модели, и обратитесь в сервис.");
    static const QStringList lostLink = {QStringLiteral("timeout"),
                                         QStringLiteral("тайм-аут"),
                                         QStringLiteral("read failed"),
                                         QStringLiteral("write failed"),
                                         QStringLiteral("device disconnected"),
                                         QStringLiteral("not open")};
    const bool lost = std::any_of(lostLink.cbegin(), lostLink.cend(), [&technicalText](const QString& word) {
        return technicalText.contains(word, Qt::CaseInsensitive);
    });
    if (lost)
        return QStringLiteral(
            "Не удалось получить ответ от тахографа — связь прервалась или устройство не ответило. Проверьте "
            "кабель, разъём и питание. Tachoria не получил подтверждение завершения обновления; если "
            "тахограф "
            "показывает запись, не отключайте питание и дождитесь её окончания. При сомнении обратитесь в "
            "сервис.");
    return QStringLiteral("Не удалось завершить обновление. Тахограф не подтвердил успешное завершение. "
                          "Проверьте подключение и обратитесь в сервис перед повторной попыткой.");
}

} // namespace tachoria::qml
