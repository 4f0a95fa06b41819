#include "cards/pcsc_card_reader.h"

#include <winscard.h>

namespace tachoria::cards {

namespace {

constexpr DWORD kAttributeAtr = 0x90303;
constexpr int kPartBytes = 240;

QByteArray apdu(std::initializer_list<quint8> header, const QByteArray& data = {})
{
    QByteArray out;
    for (quint8 byte : header)
        out.append(static_cast<char>(byte));
    out.append(data);
    return out;
}

// The ATR attribute first; a reader driver that does not offer it (the virtual one) still tells the
// ATR through the card's status.
bool readAtr(SCARDHANDLE card, QByteArray& atr)
{
    DWORD length = 0;
    if (SCardGetAttrib(card, kAttributeAtr, nullptr, &length) == SCARD_S_SUCCESS && length > 0) {
        atr.resize(static_cast<qsizetype>(length));
        if (SCardGetAttrib(card, kAttributeAtr, reinterpret_cast<LPBYTE>(atr.data()), &length) ==
            SCARD_S_SUCCESS) {
            atr.resize(static_cast<qsizetype>(length));
            return true;
        }
    }
    BYTE buffer[MAX_ATR_SIZE];
    DWORD atrLength = sizeof buffer;
    DWORD readerLength = 0;
    DWORD state = 0;
    DWORD protocol = 0;
    if (SCardStatus(card, nullptr, &readerLength, &state, &protocol, buffer, &atrLength) != SCARD_S_SUCCESS)
        return false;
    atr = QByteArray(reinterpret_cast<const char*>(buffer), static_cast<qsizetype>(atrLength));
    return true;
}

} // namespace

struct PcscCardReader::State
{
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
};

PcscCardReader::PcscCardReader()
    : m_state(std::make_unique<State>())
{
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) == SCARD_S_SUCCESS)
        m_state->context = context;
}

PcscCardReader::~PcscCardReader()
{
    cardDisconnect();
    cardReleaseContext();
}

bool PcscCardReader::hasContext() const
{
    return m_state->context != 0;
}

bool PcscCardReader::isConnected() const
{
    return m_state->card != 0;
}

quint32 PcscCardReader::cardGetListReaders(QStringList& readers)
{
    readers.clear();
    if (!m_state->context)
        return kInvalidHandle;
    DWORD length = 0;
    LONG result = SCardListReaders(m_state->context, nullptr, nullptr, &length);
    if (result != SCARD_S_SUCCESS)
        return static_cast<quint32>(result);
    QByteArray names(static_cast<qsizetype>(length), '\0');
    result = SCardListReaders(m_state->context, nullptr, names.data(), &length);
    if (result != SCARD_S_SUCCESS)
        return static_cast<quint32>(result);
    for (const QByteArray& name : names.left(static_cast<qsizetype>(length)).split('\0')) {
        if (!name.isEmpty())
            readers.append(QString::fromUtf8(name));
    }
    return 0;
}

quint32 PcscCardReader::cardConnect(const QString& reader, QString& atrText)
{
    atrText.clear();
    if (!m_state->context)
        return kInvalidHandle;
    cardDisconnect(); // one card at a time
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    if (SCardConnect(m_state->context, reader.toUtf8().constData(), SCARD_SHARE_EXCLUSIVE, SCARD_PROTOCOL_T0,
                     &card, &protocol) != SCARD_S_SUCCESS)
        return 1;
    m_state->card = card;
    QByteArray atr;
    if (!readAtr(card, atr)) {
        cardDisconnect();
        return 2;
    }
    atrText = QString::fromLatin1(atr.toHex(' ').toUpper());
    return 0;
}

void PcscCardReader::cardDisconnect()
{
    if (m_state->card)
        SCardDisconnect(m_state->card, SCARD_LEAVE_CARD);
    m_state->card = 0;
}

void PcscCardReader::cardReleaseContext()
{
    if (m_state->context)
        SCardReleaseContext(m_state->context);
    m_state->context = 0;
}

quint32 PcscCardReader::transmit(const QByteArray& command, QByteArray& response)
{
    response.clear();
    if (!m_state->context || !m_state->card)
        return kInvalidHandle;
    QByteArray buffer(4096, '\0');
    DWORD length = static_cast<DWORD>(buffer.size());
    const LONG result = SCardTransmit(
        m_state->card, SCARD_PCI_T0, reinterpret_cast<LPCBYTE>(command.constData()),
        static_cast<DWORD>(command.size()), nullptr, reinterpret_cast<LPBYTE>(buffer.data()), &length);
    if (result != SCARD_S_SUCCESS)
        return static_cast<quint32>(result);
    response = buffer.left(static_cast<qsizetype>(length));
    return 0;
}

quint32 PcscCardReader::statusWord(const QByteArray& response, QByteArray* data)
{
    if (response.size() < 2)
        return kShortAnswer;
    if (data)
        *data = response.left(response.size() - 2);
    return (static_cast<quint32>(static_cast<quint8>(response.at(response.size() - 2))) << 8) |
           static_cast<quint8>(response.back());
}

quint32 PcscCardReader::transmitStatus(const QByteArray& command, QByteArray* data)
{
    QByteArray response;
    const quint32 result = transmit(command, response);
    if (result != 0)
        return result;
    return statusWord(response, data);
}

quint32 PcscCardReader::cardSelectCatalog(const QByteArray& name)
{
    return transmitStatus(apdu({0x00, 0xA4, 0x04, 0x0C, static_cast<quint8>(name.size())}, name));
}

quint32 PcscCardReader::cardSelectFileId(quint16 id)
{
    return transmitStatus(
        apdu({0x00, 0xA4, 0x02, 0x0C, 0x02, static_cast<quint8>(id >> 8), static_cast<quint8>(id & 0xFF)}));
}

quint32 PcscCardReader::cardGetFullCardNumber(QByteArray& out)
{
    return transmitStatus(apdu({0x00, 0xCA, 0x00, 0x45, 0x12}), &out);
}

quint32 PcscCardReader::cardGetVersionCard(QByteArray& out)
{
    return transmitStatus(apdu({0x00, 0xCA, 0xDF, 0x06, 0x02}), &out);
}

quint32 PcscCardReader::cardGetChallenge(QByteArray& out)
{
    return transmitStatus(apdu({0x00, 0x84, 0x00, 0x00, 0x10}), &out);
}

quint32 PcscCardReader::cardGetResponse(quint8 length, QByteArray& out)
{
    return transmitStatus(apdu({0x00, 0xC0, 0x00, 0x00, length}), &out);
}

quint32 PcscCardReader::cardMseSet(const QByteArray& keyId)
{
    return transmitStatus(apdu({0x00, 0x22, 0xC1, 0xB6, 0x12, 0x83, 0x10}, keyId.left(16)));
}

quint32 PcscCardReader::cardMutualAuth(const QByteArray& data)
{
    return transmitStatus(apdu({0x00, 0x82, 0x00, 0x00, 0x50}, data));
}

quint32 PcscCardReader::cardVerifyCert(const QByteArray& certificate)
{
    // A chain of PERFORM SECURITY OPERATION commands: full parts of 255 bytes, then the rest.
    qsizetype offset = 0;
    while (certificate.size() - offset > 254) {
        const quint32 status =
            transmitStatus(apdu({0x10, 0x2A, 0x00, 0xAE, 0xFF}, certificate.mid(offset, 255)));
        if (status != kSuccess)
            return status;
        offset += 255;
    }
    if (offset < certificate.size()) {
        const QByteArray rest = certificate.mid(offset);
        const quint32 status =
            transmitStatus(apdu({0x00, 0x2A, 0x00, 0xAE, static_cast<quint8>(rest.size())}, rest));
        if (status != kSuccess)
            return status;
    }
    return 0;
}

quint32 PcscCardReader::cardVerifyPin(const QByteArray& pin)
{
    return transmitStatus(apdu({0x00, 0x20, 0x00, 0x00, 0x08}, pin.left(8)));
}

quint32 PcscCardReader::cardUnblockPin(const QByteArray& puk, const QByteArray& pin)
{
    return transmitStatus(apdu({0x00, 0x2C, 0x00, 0x00, 0x10}, puk.left(8) + pin.left(8)));
}

quint32 PcscCardReader::cardReadBinary(quint8 p1, quint8 p2, quint8 length, QByteArray& out)
{
    QByteArray data;
    const quint32 status = transmitStatus(apdu({0x00, 0xB0, p1, p2, length}), &data);
    out = data;
    return status;
}

quint32 PcscCardReader::cardReadBinary2B(quint8 p1, quint8 p2, int length, QByteArray& out)
{
    int offset = (p1 << 8) | p2;
    int remaining = length;
    quint32 status = kSuccess;
    while (remaining > 0) {
        const int part = remaining > kPartBytes - 1 ? kPartBytes : remaining;
        QByteArray chunk;
        status = cardReadBinary(static_cast<quint8>(offset >> 8), static_cast<quint8>(offset & 0xFF),
                                static_cast<quint8>(part), chunk);
        if (status != kSuccess)
            return status;
        out.append(chunk);
        offset += part;
        remaining -= part;
    }
    return status;
}

quint32 PcscCardReader::cardUpdateBinary(quint8 p1, quint8 p2, quint8 length, const QByteArray& data)
{
    return transmitStatus(apdu({0x00, 0xD6, p1, p2, length}, data.left(length)));
}

quint32 PcscCardReader::cardUpdateBinary2B(quint8 p1, quint8 p2, int length, const QByteArray& data)
{
    int offset = (p1 << 8) | p2;
    int done = 0;
    quint32 status = kSuccess;
    while (done < length) {
        const int part = length - done > kPartBytes - 1 ? kPartBytes : length - done;
        status = cardUpdateBinary(static_cast<quint8>(offset >> 8), static_cast<quint8>(offset & 0xFF),
                                  static_cast<quint8>(part), data.mid(done, part));
        if (status != kSuccess)
            return status;
        offset += part;
        done += part;
    }
    return status;
}

} // namespace tachoria::cards
