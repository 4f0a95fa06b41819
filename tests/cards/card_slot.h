#pragma once

#include "../support/pcsc_stand_in.h"
#include "cards/pcsc_card_reader.h"

#include <QTest>

namespace tachoria::test {

// The virtual reader notices a card coming and going only after a moment: these wait for it.

inline bool connectWhenPresent(cards::PcscCardReader& reader, const QString& name)
{
    QString atr;
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (reader.cardConnect(name, atr) == 0)
            return true;
        QTest::qWait(100);
    }
    return false;
}

// Takes the card out and puts in one shaped by the emulator's options, then connects to it. The
// reader has to see the old card gone first, or the new one is taken for it.
inline bool reinsertCard(PcscStandIn& standIn, cards::PcscCardReader& reader, const QString& name,
                         const QStringList& cardArguments)
{
    reader.cardDisconnect();
    standIn.removeCard();
    QString atr;
    for (int attempt = 0; attempt < 100 && reader.cardConnect(name, atr) == 0; ++attempt) {
        reader.cardDisconnect();
        QTest::qWait(100);
    }
    QString error;
    if (!standIn.insertCard(cardArguments, &error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    return connectWhenPresent(reader, name);
}

} // namespace tachoria::test
