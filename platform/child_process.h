#pragma once

class QProcess;

namespace tachoria::platform {

// Lets a helper program started by this one end when this one ends, even when it is killed or
// crashes, so that no helper is left holding a port.
void endWithParent(QProcess& process);

} // namespace tachoria::platform
