#pragma once

class QObject;

namespace tachoria::platform {

// Turns SIGTERM and SIGINT into a quit of the event loop on the main thread, so that the program
// ends in order (workers stopped, port closed, journal shut down) when another instance or the
// session asks it to leave. The notifier lives as a child of `owner`.
bool quitEventLoopOnTermination(QObject* owner);

} // namespace tachoria::platform
