#include "window_driver.h"

#include "app/application.h"
#include "app/application_shell.h"
#include "qml_controllers/qml_app_controller.h"
#include "storage/app_paths.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

namespace tachoria::test {

namespace {

QQuickItem* findItem(QQuickItem* root, const QString& name, bool visibleOnly)
{
    if (!root || (visibleOnly && !root->isVisible()))
        return nullptr;
    if (root->objectName() == name)
        return root;
    // Among visible ones the item drawn last wins, as a click would: a page pushed over another one
    // that is still shown during its transition has the same toolbar.
    const QList<QQuickItem*> children = root->childItems();
    for (qsizetype i = 0; i < children.size(); ++i) {
        QQuickItem* child = children.at(visibleOnly ? children.size() - 1 - i : i);
        if (QQuickItem* found = findItem(child, name, visibleOnly))
            return found;
    }
    return nullptr;
}

} // namespace

WindowDriver::WindowDriver(const QString& profile)
    : m_previousProfile(qgetenv("LOCALAPPDATA"))
{
    app::identifyApplication();
    if (profile.isEmpty()) {
        m_ownProfile = std::make_unique<QTemporaryDir>();
        m_profile = m_ownProfile->path();
    } else {
        m_profile = profile;
    }
    qputenv("LOCALAPPDATA", m_profile.toLocal8Bit());
    storage::AppPaths::ensureDirectories();
}

WindowDriver::~WindowDriver()
{
    stop();
    qputenv("LOCALAPPDATA", m_previousProfile);
}

bool WindowDriver::start(bool startWork)
{
    m_shell = std::make_unique<app::ApplicationShell>();
    if (!m_shell->loadMainWindow())
        return false;
    QQuickWindow* shown = window();
    if (!shown || !QTest::qWaitForWindowExposed(shown))
        return false;
    if (startWork)
        m_shell->controller().initializeAfterUi();
    return true;
}

void WindowDriver::stop()
{
    m_shell.reset();
}

qml::QmlAppController& WindowDriver::app()
{
    return m_shell->controller();
}

QQuickWindow* WindowDriver::window() const
{
    return m_shell ? m_shell->window() : nullptr;
}

QQuickItem* WindowDriver::find(const QString& objectName) const
{
    QQuickWindow* shown = window();
    return shown ? findItem(shown->contentItem()->parentItem() ? shown->contentItem()->parentItem()
                                                               : shown->contentItem(),
                            objectName, false)
                 : nullptr;
}

QQuickItem* WindowDriver::findVisible(const QString& objectName) const
{
    QQuickWindow* shown = window();
    return shown ? findItem(shown->contentItem()->parentItem() ? shown->contentItem()->parentItem()
                                                               : shown->contentItem(),
                            objectName, true)
                 : nullptr;
}

bool WindowDriver::settle() const
{
    QQuickItem* stack = find(QStringLiteral("navigationStack"));
    return stack && QTest::qWaitFor([stack] { return !stack->property("busy").toBool(); }, 5000);
}

bool WindowDriver::dialogOpen(const QString& objectName) const
{
    QQuickWindow* shown = window();
    const QObject* dialog = shown ? shown->findChild<QObject*>(objectName) : nullptr;
    return dialog && dialog->property("opened").toBool();
}

bool WindowDriver::click(QQuickItem* item)
{
    if (!item || !item->isVisible() || !item->isEnabled() || !settle())
        return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre.toPoint());
    return true;
}

bool WindowDriver::click(const QString& objectName)
{
    return click(findVisible(objectName));
}

bool WindowDriver::doubleClick(const QString& objectName)
{
    QQuickItem* item = findVisible(objectName);
    if (!item)
        return false;
    const QPoint centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint();
    QTest::mouseDClick(window(), Qt::LeftButton, Qt::NoModifier, centre);
    return true;
}

bool WindowDriver::type(const QString& objectName, const QString& text)
{
    QQuickItem* item = findVisible(objectName);
    if (!click(item))
        return false;
    QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(window(), Qt::Key_Backspace);
    // A window takes keys one by one; the text of each carries the letter, Cyrillic ones included.
    for (const QChar letter : text) {
        const Qt::Key key = letter.isLetterOrNumber() && letter.unicode() < 0x80
                                ? Qt::Key(letter.toUpper().unicode())
                                : Qt::Key_unknown;
        QTest::sendKeyEvent(QTest::Click, window(), key, QString(letter), Qt::NoModifier);
    }
    return true;
}

QString itemText(QQuickItem* item)
{
    return item ? item->property("text").toString() : QString();
}

QString WindowDriver::text(const QString& objectName) const
{
    // Several dialogs share their items' names; the one on screen is meant.
    QQuickItem* shown = findVisible(objectName);
    return itemText(shown ? shown : find(objectName));
}

bool WindowDriver::sawQmlWarnings() const
{
    return m_shell && m_shell->sawQmlWarnings();
}

bool WindowDriver::grab(const QString& path) const
{
    QQuickWindow* shown = window();
    return shown && shown->grabWindow().save(path);
}

} // namespace tachoria::test
