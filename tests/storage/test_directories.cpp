#include "storage/customer_master_repositories.h"
#include "storage_test_profile.h"

#include <QFile>
#include <QTest>

using namespace tachoria::storage;
using namespace Qt::StringLiterals;

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
        QFile::remove(m_profile.database(u"MasterDB.db"_s));
        QFile::remove(m_profile.database(u"CustomersDB.db"_s));
    }

    void mastersSoftDeleteAndRestore()
    {
        MasterRepository masters;
        QVERIFY2(masters.isOpen(), qPrintable(masters.lastError()));
        QCOMPARE(masters.addMaster(u"   "_s), -1);
        QCOMPARE(masters.lastError(), u"ФИО мастера не может быть пустым"_s);
        const int first = masters.addMaster(u" Мастер Первый "_s);
        QVERIFY(first > 0);
        QCOMPARE(masters.getMaster(first)->fullName, u"Мастер Первый"_s);
        QVERIFY(masters.addMaster(u"Мастер Первый"_s) > first); // the same name twice is allowed
        const int second = masters.addMaster(u"Антонов Пётр"_s);

        QVERIFY(masters.deleteMaster(second));
        QCOMPARE(masterNames(masters.allMasters()), (QStringList{u"Мастер Первый"_s, u"Мастер Первый"_s}));
        QCOMPARE(masterNames(masters.allMastersIncludingInactive()).last(), u"Антонов Пётр"_s);
        QVERIFY(masters.masterExists(u"Антонов Пётр"_s));
        QVERIFY(!masters.activeMasterExists(u"Антонов Пётр"_s));
        QCOMPARE(masters.mastersDictionary(true).value(second), u"Антонов Пётр (неактивный)"_s);
        QVERIFY(!masters.mastersDictionary(false).contains(second));
        QVERIFY(masters.restoreMaster(second));
        QVERIFY(masters.activeMasterExists(u"Антонов Пётр"_s));
        QVERIFY(!masters.deleteMaster(9999)); // no such row: a failure without a text
        QVERIFY(!masters.updateMaster(9999, u"X"_s) && !masters.deleteMasterPermanently(9999));
        QVERIFY(masters.deleteMasterPermanently(first) && !masters.getMaster(first).has_value());
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
                                    << QStringList{u"Зелёный Клён"_s, u"Музей"_s, u"Синий-Красный Иван"_s};
        QTest::newRow("ё as е, any order") << u"клен зе"_s << QStringList{u"Зелёный Клён"_s};
        QTest::newRow("case folded") << u"МУЗЕЙ"_s << QStringList{u"Музей"_s};
        QTest::newRow("й is no и") << u"музеи"_s << QStringList{};
        QTest::newRow("punctuation splits") << u"СИНИЙ-КРАСНЫЙ"_s << QStringList{u"Синий-Красный Иван"_s};
    }

    void masterSearch()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, found);
        MasterRepository masters;
        for (const char* name : {"Музей", "Зелёный Клён", "Синий-Красный Иван"})
            masters.addMaster(QString::fromUtf8(name));
        QCOMPARE(masterNames(masters.searchMasters(query)), found);
        QCOMPARE(MasterRepository::normalizeMasterSearchText(u"  СИНИЙ--красный!! "_s), u"синий красный"_s);
    }

    void customers()
    {
        CustomerRepository customers;
        QVERIFY(customers.isOpen());
        QCOMPARE(customers.lastError(), QString()); // its schema went in whole
        QCOMPARE(customers.addCustomer(u" "_s, {}, {}), -1);
        QCOMPARE(customers.lastError(), u"Имя заказчика не может быть пустым"_s);
        const int horns =
            customers.addCustomer(u" ООО «Рога и копыта» "_s, u"г. Тверь"_s, u"+7 900 123-45-67"_s);
        const int fleet =
            customers.addCustomer(u"АО Автопарк"_s, u"Москва, ул. Ленина, 1"_s, u"+7 495 000-00-00"_s);
        QVERIFY(horns > 0 && fleet > horns);
        // LIKE ignores case in Cyrillic as well.
        QCOMPARE(customerNames(customers.searchCustomers(u"ооо"_s)), QStringList{u"ООО «Рога и копыта»"_s});
        QCOMPARE(customerNames(customers.searchCustomers(u"ЛЕНИНА"_s)), QStringList{u"АО Автопарк"_s});
        QCOMPARE(customerNames(customers.searchByPhone(u"495"_s)), QStringList{u"АО Автопарк"_s});
        QCOMPARE(customers.searchCustomers(u"_"_s).size(), 2); // '_' matches any one character
        QVERIFY(customers.deleteCustomer(horns));
        QCOMPARE(customers.searchCustomers(u"рога"_s).size(), 0);
        QCOMPARE(customers.searchCustomers(u"рога"_s, true).size(), 1);
        QVERIFY(!customers.customerByName(u"ООО «Рога и копыта»"_s).has_value());
        QVERIFY(customers.customerExists(u"ООО «Рога и копыта»"_s));
        QVERIFY(customers.updateCustomer(fleet, u"АО Автопарк №1"_s, QString(), u"112"_s));
        QCOMPARE(customers.getCustomer(fleet)->phone, u"112"_s);
        QVERIFY(!customers.updateCustomer(9999, u"X"_s, {}, {}));
        QVERIFY(!customers.updateCustomer(fleet, u" "_s, {}, {}));
        QCOMPARE(customers.lastError(), u"Имя заказчика не может быть пустым"_s);
        for (const Customer& customer : customers.allCustomersIncludingInactive())
            QCOMPARE(customer.isActive, customer.id != horns);
        QVERIFY(!customers.restoreCustomer(9999) && !customers.deleteCustomer(9999));
        QCOMPARE(customers.customersDictionary(true).value(horns), u"ООО «Рога и копыта» (неактивный)"_s);
        QVERIFY(customers.cleanupInactiveCustomers() && !customers.cleanupInactiveCustomers());
        QVERIFY(customers.deleteCustomerPermanently(fleet) &&
                customers.allCustomersIncludingInactive().isEmpty());
    }

    void unopenableDatabase()
    {
        CustomerRepository customers(u"/proc/no-such-folder/CustomersDB.db"_s);
        QVERIFY(!customers.isOpen());
        QVERIFY(!customers.lastError().isEmpty());
        QCOMPARE(customers.addCustomer(u"A"_s, {}, {}), -1);
        QVERIFY(customers.allCustomers().isEmpty());
        QVERIFY(!customers.deleteCustomer(1));
        QVERIFY(!customers.customerExists(u"A"_s));
        QCOMPARE(MasterRepository(u"/proc/no-such-folder/MasterDB.db"_s).addMaster(u"A"_s), -1);
    }
};

QTEST_GUILESS_MAIN(TestDirectories)
#include "test_directories.moc"
