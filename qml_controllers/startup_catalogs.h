#pragma once

#include <QStringList>
#include <QVariantList>

namespace tachoria::storage {
class MasterRepository;
class CustomerRepository;
} // namespace tachoria::storage

namespace tachoria::qml {

// What the settings page lists, gathered off the GUI thread at start so that the window shows at once.
struct StartupCatalogs
{
    QStringList ports;
    QStringList readers;
    QStringList printers;
    QVariantList masters;   // maps: id, fullName, isActive
    QVariantList customers; // maps: id, name, address, phone, isActive, createdAt
};

// Ports, card readers and printers; masters and customers through connections of the calling thread.
StartupCatalogs collectStartupCatalogs();

QStringList cardReaderNames();
QStringList printerNames();
// The printer list's rule: the default entry first, never a note-taking program's virtual printer.
QStringList printerChoices(const QStringList& systemPrinters);

QVariantList masterRows(storage::MasterRepository& repository, bool includeInactive = false,
                        const QString& search = QString());
QVariantList customerRows(storage::CustomerRepository& repository, bool includeInactive = false,
                          const QString& search = QString());

} // namespace tachoria::qml
