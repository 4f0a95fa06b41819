#include "platform/child_process.h"

#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

namespace tachoria::platform {

void endWithParent(QProcess& process)
{
    process.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
}

} // namespace tachoria::platform
