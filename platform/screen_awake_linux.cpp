#include "logging/application_logger.h"
#include "platform/screen_awake.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

namespace tachoria::platform {

namespace {

const QString kService = QStringLiteral("org.freedesktop.ScreenSaver");
const QString kPath = QStringLiteral("/org/freedesktop/ScreenSaver");
quint32 g_cookie = 0;

void journalRefusal(const QString& operation)
{
    logging::ApplicationLogger::write(
        logging::Level::Warning, QStringLiteral("power"),
        QStringLiteral("Windows не приняла запрос на удержание экрана включённым"), operation);
}

} // namespace

void setScreenAwake(bool hold)
{
    const QString operation = hold ? QStringLiteral("keep-awake") : QStringLiteral("release");
    if (hold == (g_cookie != 0))
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Without a session bus or a screen saver on it there is no one to ask.
    if (!bus.isConnected() || !bus.interface() || !bus.interface()->isServiceRegistered(kService)) {
        if (hold)
            journalRefusal(operation);
        return;
    }
    if (hold) {
        QDBusMessage call =
            QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Inhibit"));
        call << QCoreApplication::applicationName() << QStringLiteral("Связь с тахографом");
        const QDBusReply<quint32> reply = bus.call(call, QDBus::Block, 2000);
        if (reply.isValid() && reply.value() != 0)
            g_cookie = reply.value();
        else
            journalRefusal(operation);
        return;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("UnInhibit"));
    call << g_cookie;
    g_cookie = 0;
    if (!bus.call(call, QDBus::Block, 2000).errorMessage().isEmpty())
        journalRefusal(operation);
}

} // namespace tachoria::platform
