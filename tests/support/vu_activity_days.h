#pragma once

#include <QByteArray>
#include <QDate>
#include <QList>

namespace tachoria::test {

// The days of one vehicle-unit activities block (76 02 included), as a unit writes them one after
// another: each a time stamp and odometer, card insertions of 129 bytes, activity changes of 2, places
// of 28, specific conditions of 5 and a signature of 128. A day that does not end where the block does
// comes back as an invalid date.
QList<QDate> daysOfActivitiesBlock(const QByteArray& block);

} // namespace tachoria::test
