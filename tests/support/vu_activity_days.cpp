#include "vu_activity_days.h"

#include <QDateTime>
#include <QTimeZone>

namespace tachoria::test {

namespace {

qsizetype be(const QByteArray& bytes, qsizetype at, int size)
{
    qsizetype value = 0;
    for (int i = 0; i < size && at + i < bytes.size(); ++i)
        value = (value << 8) | static_cast<quint8>(bytes.at(at + i));
    return value;
}

} // namespace

QList<QDate> daysOfActivitiesBlock(const QByteArray& block)
{
    QList<QDate> days;
    qsizetype at = 2;
    while (at + 9 <= block.size()) {
        days.append(QDateTime::fromSecsSinceEpoch(be(block, at, 4), QTimeZone::utc()).date());
        at += 7;
        at += 2 + 129 * be(block, at, 2);
        at += 2 + 2 * be(block, at, 2);
        at += 1 + 28 * be(block, at, 1);
        at += 2 + 5 * be(block, at, 2) + 128;
    }
    if (at != block.size())
        days.append(QDate());
    return days;
}

} // namespace tachoria::test
