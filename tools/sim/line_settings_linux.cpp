// Kept apart: the kernel's termios2 header clashes with the C library's <termios.h>.
#include "pty_line.h"

#include <asm/termbits.h>
#include <cerrno>
#include <cstring>
#include <sys/ioctl.h>

namespace tachoria::sim {

bool readLineSettings(int slaveFd, LineSettings& settings, QString* error)
{
    struct termios2 tio
    {
    };
    if (::ioctl(slaveFd, TCGETS2, &tio) != 0) {
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    settings.baud = static_cast<int>(tio.c_ospeed);
    switch (tio.c_cflag & CSIZE) {
    case CS5:
        settings.dataBits = 5;
        break;
    case CS6:
        settings.dataBits = 6;
        break;
    case CS7:
        settings.dataBits = 7;
        break;
    default:
        settings.dataBits = 8;
        break;
    }
    settings.stopBits = (tio.c_cflag & CSTOPB) ? 2 : 1;
    return true;
}

} // namespace tachoria::sim
