#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace tachoria::test {

// A real pcscd with vsmartcard's virtual reader, and the project's virtual tachograph card in it.
// pcscd is started only when none runs, and stopped again by whoever started it.
class PcscStandIn
{
public:
    PcscStandIn() = default;
    ~PcscStandIn();
    PcscStandIn(const PcscStandIn&) = delete;
    PcscStandIn& operator=(const PcscStandIn&) = delete;

    // Empty when all is there; else why this machine cannot run the stand-in.
    static QString unavailableReason();
    static bool serviceRunning();

    bool startService(QString* error = nullptr);
    void stopService();
    bool insertCard(QString* error = nullptr);
    // A card shaped by the emulator's options (--file, --answer), e.g. a damaged or refusing one.
    bool insertCard(const QStringList& cardArguments, QString* error = nullptr);
    void removeCard();

    // Every command APDU the card received, in hex, one a line.
    QStringList cardLog() const;
    void clearCardLog() const;

private:
    QProcess m_pcscd;
    QProcess m_card;
    QTemporaryDir m_dir;
};

} // namespace tachoria::test
