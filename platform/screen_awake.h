#pragma once

namespace tachoria::platform {

// Keeps the machine and its display on while `hold` is set, so that a long transfer is not cut by
// sleep; releases the request otherwise. A refusal is journalled and nothing else: nothing depends on it.
void setScreenAwake(bool hold);

} // namespace tachoria::platform
