#pragma once

#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

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
    // A queue that prints into PDF files through cups-pdf, each queue into a folder of its own; its
    // driver offers sheets, A4 unless told, on one side or both.
    bool addPdfPrinter(const QString& name, QString* error = nullptr);
    // The same, with a label printer's driver whose loaded tape, 100 × 18,6 mm, is its default paper.
    bool addLabelPrinter(const QString& name, QString* error = nullptr);
    bool removePrinter(const QString& name);
    // The system's default queue, as `lpadmin -d` sets it.
    bool setDefaultPrinter(const QString& name);

    // The PDF files the queue has written so far, oldest first, with full paths.
    QStringList printedFiles(const QString& name) const;
    // What CUPS keeps of the queue's latest job: the attributes asked for (e.g. copies, sides,
    // print-color-mode, media) by name, as ipptool shows their values.
    QMap<QString, QString> lastJobAttributes(const QString& name, const QStringList& attributes) const;

private:
    bool addQueue(const QString& name, bool label, QString* error);
    // The queue's driver: cups-pdf's own, with duplex for sheets or with only the tape for labels.
    QString writeDriver(const QString& name, bool label, QString* error);

    QProcess m_cupsd;
    QStringList m_printers;
    QTemporaryDir m_output;
    QString m_previousDefault;
};

} // namespace tachoria::test
