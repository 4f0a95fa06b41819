#include "window_on_simulator.h"

#include "qml_controllers/qml_app_controller.h"
#include "storage/settings_repository.h"

#include <QTest>

namespace tachoria::test {

QStringList words(std::initializer_list<const char*> list)
{
    QStringList out;
    for (const char* item : list)
        out << QString::fromUtf8(item);
    return out;
}

WindowOnSimulator::WindowOnSimulator(const QStringList& simulatorArguments, bool withState)
    : simulator(simulatorArguments, false, withState)
{
    // The window's profile exists now: the port is stored before the window starts and scans.
    storage::SettingsRepository().setValue(QStringLiteral("Ports"), QStringLiteral("CalibrationPortName"),
                                           link());
    simulator.setLink(link());
}

bool WindowOnSimulator::start(QString* error)
{
    if (!simulator.start(error))
        return false;
    if (!window.start() || !QTest::qWaitFor([this] { return window.app().deviceFound(); }, 15000)) {
        if (error)
            *error = QStringLiteral("the window did not find the simulated tachograph");
        return false;
    }
    return true;
}

} // namespace tachoria::test
