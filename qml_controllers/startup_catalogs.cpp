#include "qml_controllers/startup_catalogs.h"

#include "cards/pcsc_card_reader.h"
#include "qml_controllers/qml_helpers.h"
#include "storage/customer_master_repositories.h"

#include <QPrinterInfo>
#include <QVariantMap>

namespace tachoria::qml {

QStringList cardReaderNames()
{
    QStringList readers;
    cards::PcscCardReader reader;
    reader.cardGetListReaders(readers);
    if (readers.isEmpty())
        readers.append(QStringLiteral("Не обнаружен"));
    return readers;
}

QStringList printerChoices(const QStringList& systemPrinters)
{
    QStringList printers{QStringLiteral("По умолчанию")};
    for (const QString& name : systemPrinters) {
        if (!name.contains(QLatin1String("onenote"), Qt::CaseInsensitive))
            printers.append(name);
    }
    return printers;
}

QStringList printerNames()
{
    return printerChoices(QPrinterInfo::availablePrinterNames());
}

QVariantList masterRows(storage::MasterRepository& repository, bool includeInactive, const QString& search)
{
    const QList<storage::Master> masters =
        search.trimmed().isEmpty()
            ? (includeInactive ? repository.allMastersIncludingInactive() : repository.allMasters())
            : repository.searchMasters(search, includeInactive);
    QVariantList rows;
    rows.reserve(masters.size());
    for (const storage::Master& master : masters)
        rows.append(QVariantMap{{QStringLiteral("id"), master.id},
                                {QStringLiteral("fullName"), master.fullName},
                                {QStringLiteral("isActive"), master.isActive}});
    return rows;
}

QVariantList customerRows(storage::CustomerRepository& repository, bool includeInactive,
                          const QString& search)
{
    const QList<storage::Customer> customers =
        search.trimmed().isEmpty()
            ? (includeInactive ? repository.allCustomersIncludingInactive() : repository.allCustomers())
            : repository.searchCustomers(search, includeInactive);
    QVariantList rows;
    rows.reserve(customers.size());
    for (const storage::Customer& customer : customers)
        rows.append(QVariantMap{{QStringLiteral("id"), customer.id},
                                {QStringLiteral("name"), customer.customerName},
                                {QStringLiteral("address"), customer.address},
                                {QStringLiteral("phone"), customer.phone},
                                {QStringLiteral("isActive"), customer.isActive},
                                {QStringLiteral("createdAt"), customer.createdAt.toString(Qt::ISODate)}});
    return rows;
}

StartupCatalogs collectStartupCatalogs()
{
    StartupCatalogs catalogs;
    catalogs.ports = sortedPortNames();
    catalogs.readers = cardReaderNames();
    catalogs.printers = printerNames();
    storage::MasterRepository masters;
    storage::CustomerRepository customers;
    catalogs.masters = masterRows(masters);
    catalogs.customers = customerRows(customers);
    return catalogs;
}

} // namespace tachoria::qml
