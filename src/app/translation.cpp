#include "app/translation.h"

#include <QCoreApplication>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace translation {

namespace {

bool isEnglish(const QString& language)
{
    return language == QLatin1String("C") || language == QLatin1String("en") ||
           language.startsWith(QLatin1String("en-"));
}

QString ownTexts(const QString& code)
{
    return QStringLiteral(":/translations/vela_%1.qm").arg(code);
}

QString toolkitTexts(const QString& code)
{
    return QLibraryInfo::path(QLibraryInfo::TranslationsPath) +
           QStringLiteral("/qtbase_%1.qm").arg(code);
}

void installFile(const QString& path)
{
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (translator->load(path))
        QCoreApplication::installTranslator(translator.release());
}

} // namespace

QString languageFor(const QStringList& uiLanguages)
{
    for (QString language : uiLanguages) {
        // Whoever puts English before another language shall not get the other.
        if (isEnglish(language))
            return {};
        const QString code = language.replace(u'-', u'_');
        for (const QString& candidate : {code, code.section(u'_', 0, 0)}) {
            if (QFile::exists(ownTexts(candidate)))
                return candidate;
        }
    }
    return {};
}

void install(const QLocale& locale)
{
    const QString language = languageFor(locale.uiLanguages());
    if (language.isEmpty())
        return;
    installFile(toolkitTexts(language));
    installFile(ownTexts(language));
}

} // namespace translation
