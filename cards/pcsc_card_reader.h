#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

namespace tachoria::cards {

// A thin, stateful wrapper over the platform's smart-card interface: readers, one connected card, and
// the command APDUs a tachograph card understands. Results are status words or PC/SC codes.
class PcscCardReader
{
public:
    static constexpr quint32 kSuccess = 0x9000;
    static constexpr quint32 kInvalidHandle = 0x80100003;
    static constexpr quint32 kShortAnswer = 0x80100011;

    PcscCardReader();
    ~PcscCardReader();
    PcscCardReader(const PcscCardReader&) = delete;
    PcscCardReader& operator=(const PcscCardReader&) = delete;

    bool hasContext() const;
    bool isConnected() const;

    quint32 cardGetListReaders(QStringList& readers);
    quint32 cardConnect(const QString& reader, QString& atrText);
    void cardDisconnect();
    void cardReleaseContext();

    quint32 transmit(const QByteArray& command, QByteArray& response);
    static quint32 statusWord(const QByteArray& response, QByteArray* data = nullptr);
    quint32 transmitStatus(const QByteArray& command, QByteArray* data = nullptr);

    quint32 cardSelectCatalog(const QByteArray& name);
    quint32 cardSelectFileId(quint16 id);
    quint32 cardGetFullCardNumber(QByteArray& out);
    quint32 cardGetVersionCard(QByteArray& out);
    quint32 cardGetChallenge(QByteArray& out);
    quint32 cardGetResponse(quint8 length, QByteArray& out);
    quint32 cardMseSet(const QByteArray& keyId);
    quint32 cardMutualAuth(const QByteArray& data);
    quint32 cardVerifyCert(const QByteArray& certificate);
    quint32 cardVerifyPin(const QByteArray& pin);
    quint32 cardUnblockPin(const QByteArray& puk, const QByteArray& pin);
    quint32 cardReadBinary(quint8 p1, quint8 p2, quint8 length, QByteArray& out);
    quint32 cardReadBinary2B(quint8 p1, quint8 p2, int length, QByteArray& out);
    quint32 cardUpdateBinary(quint8 p1, quint8 p2, quint8 length, const QByteArray& data);
    quint32 cardUpdateBinary2B(quint8 p1, quint8 p2, int length, const QByteArray& data);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace tachoria::cards
