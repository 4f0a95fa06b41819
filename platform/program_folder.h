#pragma once

#include <QString>

namespace tachoria::platform {

// The executable's folder when this user may write there, else the given fallback. On Windows the
// executable's folder is always used; on Linux an installed /usr/bin is not writable.
QString writableProgramFolder(const QString& fallback);

} // namespace tachoria::platform
