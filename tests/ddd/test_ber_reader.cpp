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
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("end");
        QTest::addColumn<int>("children");

        QTest::newRow("short length") << hex("0403414243") << true << 5 << 0;
        QTest::newRow("long length") << hex("048103414243") << true << 6 << 0;
        QTest::newRow("five length bytes") << hex("0485000000000341") << false << 0 << 0;
        QTest::newRow("length beyond the data") << hex("0405414243") << false << 0 << 0;
        QTest::newRow("sequence of two") << hex("3006020101020102") << true << 8 << 2;
        QTest::newRow("broken child ends the list quietly") << hex("300602010104FF41") << true << 8 << 1;
        QTest::newRow("long-form tag") << hex("1F8F0001AA") << true << 5 << 0;
        QTest::newRow("long-form tag of five bytes") << hex("1F8181818181") << false << 0 << 0;
        QTest::newRow("indefinite constructed") << hex("3080020101020102"
                                                       "0000")
                                                << true << 10 << 2;
        QTest::newRow("indefinite without end") << hex("30800201010201") << false << 0 << 0;
        QTest::newRow("indefinite primitive") << hex("0480414243"
                                                     "0000")
                                              << true << 7 << 0;
        QTest::newRow("empty") << QByteArray() << false << 0 << 0;
    }

    void nodes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, ok);
        qsizetype position = 0;
        BerNode node;
        QCOMPARE(parseBerNode(bytes, position, bytes.size(), node), ok);
        if (ok) {
            QTEST(int(position), "end");
            QTEST(int(node.children.size()), "children");
        }
    }

    void depthIsBounded()
    {
        // 30 nested sequences in indefinite form: deeper than the bound, so the outermost fails.
        QByteArray bytes;
        for (int i = 0; i < 30; ++i)
            bytes += hex("3080");
        for (int i = 0; i < 30; ++i)
            bytes += hex("0000");
        qsizetype position = 0;
        BerNode node;
        QVERIFY(!parseBerNode(bytes, position, bytes.size(), node));
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
