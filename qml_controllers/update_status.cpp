#include "qml_controllers/update_status.h"

#include <QVersionNumber>

namespace tachoria::qml {

namespace {

QString comparisonWord(int comparison)
{
    if (comparison == 0)
        return QStringLiteral("акт.");
    return comparison < 0 ? QStringLiteral("обн.") : QStringLiteral("нов.");
}

bool hexValue(const QString& text, quint64& value)
{
    bool ok = false;
    value = text.trimmed().toULongLong(&ok, 16);
    return ok;
}

} // namespace

QString programVersionStatus(const QString& running, const QString& published)
{
    if (published.isEmpty())
        return {};
    const QVersionNumber mine = QVersionNumber::fromString(running);
    const QVersionNumber theirs = QVersionNumber::fromString(published);
    if (mine.isNull() || theirs.isNull())
        return {};
    return comparisonWord(QVersionNumber::compare(mine, theirs));
}

QString firmwareVersionStatus(const QString& deviceVersion, quint64 publishedValue)
{
    quint64 device = 0;
    if (publishedValue == 0 || !hexValue(deviceVersion, device))
        return {};
    return comparisonWord(device == publishedValue ? 0 : (device < publishedValue ? -1 : 1));
}

bool firmwareUpdateAvailable(const QString& deviceVersion, quint64 publishedValue)
{
    quint64 device = 0;
    return publishedValue != 0 && hexValue(deviceVersion, device) && device < publishedValue;
}

} // namespace tachoria::qml
