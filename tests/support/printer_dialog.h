#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>

namespace tachoria::test {

// Answers the next modal dialog (a printer's) once it shows: the person at the printer, accepting or
// cancelling.
inline void answerNextDialog(bool accept)
{
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll, accept] {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!dialog)
            return;
        poll->deleteLater();
        accept ? dialog->accept() : dialog->reject();
    });
    poll->start(50);
}

} // namespace tachoria::test
