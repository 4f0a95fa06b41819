#include "storage/customer_master_repositories.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QTest>

using namespace tachoria::storage;

namespace {

QStringList masterNames(const QList<Master>& masters)
{
    QStringList names;
    for (const Master& master : masters)
        names << master.fullName;
    return names;
}

QStringList customerNames(const QList<Customer>& customers)
{
    QStringList names;
    for (const Customer& customer : customers)
        names << customer.customerName;
    return names;
}

} // namespace

class TestDirectories : public QObject
{
    Q_OBJECT

    StorageTestProfile m_profile;

private Q_SLOTS:
    void init()
    {
        QFile::remove(m_profile.database(QStringLiteral("MasterDB.db")));
        QFile::remove(m_profile.database(QStringLiteral("CustomersDB.db")));
    }

    void mastersSoftDeleteAndRestore()
    {
        MasterRepository masters;
        QVERIFY2(masters.isOpen(), qPrintable(masters.lastError()));
        QCOMPARE(masters.addMaster(QStringLiteral("   ")), -1);
        QCOMPARE(masters.lastError(), QStringLiteral("ФИО мастера не может быть пустым"));
        const int first = masters.addMaster(QStringLiteral(" Мастер Первый "));
        QVERIFY(first > 0);
        QCOMPARE(masters.getMaster(first)->fullName, QStringLiteral("Мастер Первый"));
        QVERIFY(masters.addMaster(QStringLiteral("Мастер Первый")) > first); // the same name twice is allowed
        const int second = masters.addMaster(QStringLiteral("Антонов Пётр"));

        QVERIFY(masters.deleteMaster(second));
        QCOMPARE(masterNames(masters.allMasters()),
                 (QStringList{QStringLiteral("Мастер Первый"), QStringLiteral("Мастер Первый")}));
        QCOMPARE(masterNames(masters.allMastersIncludingInactive()).last(), QStringLiteral("Антонов Пётр"));
        QVERIFY(masters.masterExists(QStringLiteral("Антонов Пётр")));
        QVERIFY(!masters.activeMasterExists(QStringLiteral("Антонов Пётр")));
        QCOMPARE(masters.mastersDictionary(true).value(second), QStringLiteral("Антонов Пётр (неактивный)"));
        QVERIFY(!masters.mastersDictionary(false).contains(second));
        QVERIFY(masters.restoreMaster(second));
        QVERIFY(masters.activeMasterExists(QStringLiteral("Антонов Пётр")));
        QVERIFY(!masters.deleteMaster(9999)); // no such row: a failure without a text
        QVERIFY(masters.deleteMaster(second));
        QVERIFY(masters.cleanupInactiveMasters());
        QVERIFY(!masters.getMaster(second).has_value());
        QVERIFY(!masters.cleanupInactiveMasters()); // nothing left to clean is a failure by the rule
    }

    void masterSearch_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("found");
        QTest::newRow("everything") << QString()
                                    << QStringList{QStringLiteral("Зелёный Клён"), QStringLiteral("Музей"),
                                                   QStringLiteral("Синий-Красный Иван")};
        QTest::newRow("ё as е, any order")
            << QStringLiteral("клен зе") << QStringList{QStringLiteral("Зелёный Клён")};
        QTest::newRow("case folded") << QStringLiteral("МУЗЕЙ") << QStringList{QStringLiteral("Музей")};
        QTest::newRow("й is no и") << QStringLiteral("музеи") << QStringList{};
        QTest::newRow("punctuation splits")
            << QStringLiteral("СИНИЙ-КРАСНЫЙ") << QStringList{QStringLiteral("Синий-Красный Иван")};
    }

    void masterSearch()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, found);
        MasterRepository masters;
        for (const char* name : {"Музей", "Зелёный Клён", "Синий-Красный Иван"})
            masters.addMaster(QString::fromUtf8(name));
        QCOMPARE(masterNames(masters.searchMasters(query)), found);
        QCOMPARE(MasterRepository::normalizeMasterSearchText(QStringLiteral("  СИНИЙ--красный!! ")),
                 QStringLiteral("синий красный"));
    }

    void customers()
    {
        CustomerRepository customers;
        QVERIFY2(customers.isOpen(), qPrintable(customers.lastError()));
        QCOMPARE(customers.addCustomer(QStringLiteral(" "), {}, {}), -1);
        QCOMPARE(customers.lastError(), QStringLiteral("Имя заказчика не может быть пустым"));
        const int horns =
            customers.addCustomer(QStringLiteral(" ООО «Рога и копыта» "), QStringLiteral("г. Тверь"),
                                  QStringLiteral("+7 900 123-45-67"));
        const int fleet =
            customers.addCustomer(QStringLiteral("АО Автопарк"), QStringLiteral("Москва, ул. Ленина, 1"),
                                  QStringLiteral("+7 495 000-00-00"));
        QVERIFY(horns > 0 && fleet > horns);
        // LIKE ignores case in Cyrillic as well.
        QCOMPARE(customerNames(customers.searchCustomers(QStringLiteral("ооо"))),
                 QStringList{QStringLiteral("ООО «Рога и копыта»")});
        QCOMPARE(customerNames(customers.searchCustomers(QStringLiteral("ЛЕНИНА"))),
                 QStringList{QStringLiteral("АО Автопарк")});
        QCOMPARE(customerNames(customers.searchByPhone(QStringLiteral("495"))),
                 QStringList{QStringLiteral("АО Автопарк")});
        QCOMPARE(customers.searchCustomers(QStringLiteral("_")).size(), 2); // '_' matches any one character
        QVERIFY(customers.deleteCustomer(horns));
        QCOMPARE(customers.searchCustomers(QStringLiteral("рога")).size(), 0);
        QCOMPARE(customers.searchCustomers(QStringLiteral("рога"), true).size(), 1);
        QVERIFY(!customers.customerByName(QStringLiteral("ООО «Рога и копыта»")).has_value());
        QVERIFY(customers.customerExists(QStringLiteral("ООО «Рога и копыта»")));
        QVERIFY(customers.updateCustomer(fleet, QStringLiteral("АО Автопарк №1"), QString(),
                                         QStringLiteral("112")));
        QCOMPARE(customers.getCustomer(fleet)->phone, QStringLiteral("112"));
        QCOMPARE(customers.customersDictionary(true).value(horns),
                 QStringLiteral("ООО «Рога и копыта» (неактивный)"));
    }

    void unopenableDatabase()
    {
        CustomerRepository customers(QStringLiteral("/proc/no-such-folder/CustomersDB.db"));
        QVERIFY(!customers.isOpen());
        QVERIFY(!customers.lastError().isEmpty());
        QCOMPARE(customers.addCustomer(QStringLiteral("A"), {}, {}), -1);
        QVERIFY(customers.allCustomers().isEmpty());
        QVERIFY(!customers.deleteCustomer(1));
    }
};

QTEST_GUILESS_MAIN(TestDirectories)
#include "test_directories.moc"
