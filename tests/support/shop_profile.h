#pragma once

#include "storage/settings_repository.h"

namespace tachoria::test {

// The service shop's data as the settings page stores it: what a certificate and a sticker print of
// the shop. True when every value was stored.
inline bool storeShop()
{
    storage::SettingsRepository settings;
    const std::pair<const char*, const char*> shop[] = {{"name", "ООО «Тахосервис-Поволжье»"},
                                                        {"street", "Московское шоссе, 17"},
                                                        {"city", "Самара"},
                                                        {"post", "443080"},
                                                        {"phone", "+7 (846) 200-00-00"},
                                                        {"mark", "12345"}};
    bool stored = true;
    for (const auto& [key, value] : shop)
        stored = settings.setValue(QStringLiteral("TACHORIA"), QString::fromLatin1(key),
                                   QString::fromUtf8(value)) &&
                 stored;
    return stored;
}

} // namespace tachoria::test
