#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

namespace tachoria::test {

// A real CUPS scheduler with cups-pdf printers: what a shop's printer is to the program, with the
// printed pages landing as PDF files. cupsd is started only when none runs, and stopped again by
// whoever started it.
class CupsStandIn
{
public:
    CupsStandIn() = default;
    ~CupsStandIn();
    CupsStandIn(const CupsStandIn&) = delete;
    CupsStandIn& operator=(const CupsStandIn&) = delete;

    // Empty when all is there; else why this machine cannot run the stand-in.
    static QString unavailableReason();

    bool start(QString* error = nullptr);
    void stop();
    // A queue that prints into PDF files through cups-pdf.
    bool addPdfPrinter(const QString& name, QString* error = nullptr);
    bool removePrinter(const QString& name);

private:
    QProcess m_cupsd;
    QStringList m_printers;
};

} // namespace tachoria::test
