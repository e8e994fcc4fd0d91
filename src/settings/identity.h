#pragma once

#include <QString>

/// Who makes the program and what it is called where the platform asks.
inline constexpr char16_t kOrganisationName[] = u"Quorix";
inline constexpr char16_t kOrganisationDomain[] = u"quorix.com";
inline constexpr char16_t kVersion[] = u"1.0";

/// The name, without its suffix, of the desktop entry that belongs to the
/// program: the domain with its labels reversed, then the last word of the
/// application's name ("quorix.com", "Quorix Vela": "com.quorix.Vela").
[[nodiscard]] QString desktopEntryName(const QString& domain, const QString& applicationName);
