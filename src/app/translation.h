#pragma once

#include <QStringList>

class QLocale;

/// The language the window speaks: the user's, where a translation is compiled
/// in, or else English, which the sources are written in.
namespace translation {

/// The language code of the translation to use for a user who wants
/// `uiLanguages` (such as "de-AT", the dearest first), empty for English.
[[nodiscard]] QString languageFor(const QStringList& uiLanguages);

/// Makes the application speak the language of `locale`: our own texts, and
/// those of the toolkit where its translations are installed. For English it
/// reads no file. Called once, after the application object is made and before
/// any text is; the application owns what is installed.
void install(const QLocale& locale);

} // namespace translation
