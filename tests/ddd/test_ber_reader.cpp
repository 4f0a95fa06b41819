#include "ddd/ber_reader.h"
#include "ddd/ddd_decoder.h"

#include <QTest>

using namespace tachoria::ddd;

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QStringList tags(const QList<DddBlock>& blocks)
{
    QStringList out;
    for (const DddBlock& block : blocks)
        out << QStringLiteral("%1@%2+%3#%4")
                   .arg(block.fileNumber)
                   .arg(block.offset)
                   .arg(block.length)
                   .arg(block.occurrence);
    return out;
}

} // namespace

class TestBerReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nodes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("limit"); // -1: the whole bytes
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("end");
        QTest::addColumn<int>("children");
        QTest::addColumn<int>("tag");

        QTest::newRow("short length") << hex("0403414243") << -1 << true << 5 << 0 << 4;
        QTest::newRow("empty value") << hex("0400") << -1 << true << 2 << 0 << 4;
        QTest::newRow("long length") << hex("048103414243") << -1 << true << 6 << 0 << 4;
        QTest::newRow("five length bytes") << hex("04850000000001"
                                                  "41")
                                           << -1 << false << 0 << 0 << 0;
        QTest::newRow("length beyond the data") << hex("0405414243") << -1 << false << 0 << 0 << 0;
        QTest::newRow("an identifier alone") << hex("04") << -1 << false << 0 << 0 << 0;
        QTest::newRow("sequence of two") << hex("3006020101020102") << -1 << true << 8 << 2 << 16;
        QTest::newRow("broken child ends the list quietly")
            << hex("300602010104FF41") << -1 << true << 8 << 1 << 16;
        QTest::newRow("long-form tag") << hex("1F8F0001AA") << -1 << true << 5 << 0 << (0x0F << 7);
        QTest::newRow("long-form tag of four bytes") << hex("1F81818101"
                                                            "00")
                                                     << -1 << true << 6 << 0 << 0x204081;
        QTest::newRow("long-form tag of five bytes") << hex("1F8181818101"
                                                            "00")
                                                     << -1 << false << 0 << 0 << 0;
        QTest::newRow("indefinite constructed") << hex("3080020101020102"
                                                       "0000")
                                                << -1 << true << 10 << 2 << 16;
        QTest::newRow("indefinite without end") << hex("30800201010201") << -1 << false << 0 << 0 << 0;
        // The end mark must lie inside the limit, not across it.
        QTest::newRow("end mark across the limit") << hex("3080020101"
                                                          "00"
                                                          "00")
                                                   << 6 << false << 0 << 0 << 0;
        QTest::newRow("indefinite primitive") << hex("0480414243"
                                                     "0000")
                                              << -1 << true << 7 << 0 << 4;
        QTest::newRow("empty") << QByteArray() << -1 << false << 0 << 0 << 0;
    }

    void nodes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, limit);
        QFETCH(bool, ok);
        qsizetype position = 0;
        BerNode node;
        QCOMPARE(parseBerNode(bytes, position, limit < 0 ? bytes.size() : limit, node), ok);
        if (ok) {
            QTEST(int(position), "end");
            QTEST(int(node.children.size()), "children");
            QTEST(int(node.tag), "tag");
        }
    }

    // Nested sequences in indefinite form: 25 levels (depths 0 to 24) are read, 26 are not.
    void depthIsBounded_data()
    {
        QTest::addColumn<int>("levels");
        QTest::addColumn<bool>("ok");
        QTest::newRow("at the bound") << kMaxBerDepth + 1 << true;
        QTest::newRow("beyond it") << kMaxBerDepth + 2 << false;
    }

    void depthIsBounded()
    {
        QFETCH(int, levels);
        const QByteArray bytes = hex("3080").repeated(levels) + hex("0000").repeated(levels);
        qsizetype position = 0;
        BerNode node;
        QTEST(parseBerNode(bytes, position, bytes.size(), node), "ok");
    }

    void secondGenerationCutting()
    {
        const QByteArray certificate = hex("3006020101020102");
        const QByteArray file = hex("7681") + certificate + hex("AA") + hex("7684") + QByteArray(10, '\x11') +
                                hex("7685") + QByteArray(252, '\x22') + hex("7685") + QByteArray(8, '\x33');
        QCOMPARE(tags(Decoder::splitTachographBlocks(file)),
                 (QStringList{QStringLiteral("7681@0+%1#1").arg(file.size()), QStringLiteral("ASN1@2+8#1"),
                              QStringLiteral("7684@11+12#1"), QStringLiteral("7685@23+254#1"),
                              QStringLiteral("7685@277+10#2")}));
        // Without a certificate the search for 7684 starts behind the tag.
        const QByteArray plain = hex("7681") + hex("7684") + hex("0102");
        QCOMPARE(tags(Decoder::splitTachographBlocks(plain)),
                 (QStringList{QStringLiteral("7681@0+6#1"), QStringLiteral("7684@2+4#1")}));
    }
};

QTEST_GUILESS_MAIN(TestBerReader)
#include "test_ber_reader.moc"
