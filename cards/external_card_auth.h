#pragma once

#include "cards/pcsc_card_reader.h"
#include "protocol/tachograph_client.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace tachoria::cards {

// What the card in the PC's reader tells about itself, and what the crypto module answered.
struct CardData
{
    QByteArray fullCardNumber; // 18 bytes
    QByteArray caCertificate;
    QByteArray cardCertificate;
    QByteArray keyIdentifier;           // 16 bytes
    QByteArray codeString;              // 36 bytes, blank-padded
    QByteArray cardFullNumberForRecord; // type, nation, 16-byte number
    quint32 expiryDate = 0;
    quint8 cardType = 0;
    quint8 issuingNation = 0;
    QByteArray cardNumber; // 16 bytes
    quint32 lastVehicleUse = 0xFFFFFFFF;
    QByteArray lastVehicle = QByteArray(15, ' ');
    QByteArray pin; // 8 bytes
    QByteArray nkmKeyCurrent;
    QByteArray nkmKeyCa;
    QByteArray nkmKeyPreviousCa;
    QByteArray nkmCaCertificate;
    QByteArray nkmCertificate;
    quint8 nkmFlags = 0;
    bool connected = false;
    bool catalogSelected = false;
    quint16 selectedFile = 0;
};

// Stands between a service-shop card in the PC's reader and the tachograph's crypto module: it reads
// the card, announces it to the module as inserted, and relays certificates and a challenge until both
// sides accept. All cryptography happens inside the card and the module.
class ExternalCardAuth
{
public:
    bool readForAuth(const QString& reader, const QString& pin, QString* error = nullptr);
    bool authenticate(protocol::TachographClient& client, QString* error = nullptr);
    bool eject(protocol::TachographClient& client, QString* error = nullptr);
    void disconnect();

    bool sendNkmCommand(protocol::TachographClient& client, quint8 code, const QByteArray& payload,
                        quint8& status, QByteArray& reply, QString* error = nullptr);

    QByteArray serializeFullCardNumber() const;
    QByteArray serializeEnteringRecord(const QDateTime& now = {}) const;
    QByteArray serializeTakingRecord(const QDateTime& now = {}) const;

    const CardData& data() const { return m_data; }
    CardData& data() { return m_data; }
    PcscCardReader& reader() { return m_reader; }

    static bool fail(QString* error, const QString& text);

    // The card's files, on a card already connected (readForAuth's own connection check never passes
    // as the reader reports success; this is how the rest of the dialogue is reached).
    bool readCardFiles(QString* error = nullptr);

private:
    bool readFile(quint16 id, int length, QByteArray& out, QString* error);
    bool readCertificate(quint16 id, QByteArray& out, QString* error);
    bool installCertificates(protocol::TachographClient& client, const QString& caRefusal, QString* error);

    PcscCardReader m_reader;
    CardData m_data;
};

} // namespace tachoria::cards
