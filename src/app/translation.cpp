#include "app/translation.h"

#include <QCoreApplication>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace translation {

namespace {

const QString kFolder = QStringLiteral(":/translations");
const QString kOwnTexts = QStringLiteral("vela_");
const QString kToolkitTexts = QStringLiteral("qtbase_");

bool isEnglish(const QString& language)
{
    return language == QLatin1String("C") || language == QLatin1String("en") ||
           language.startsWith(QLatin1String("en-"));
}

bool isCompiledIn(const QString& code)
{
    return QFile::exists(kFolder + u'/' + kOwnTexts + code + QStringLiteral(".qm"));
}

void installFrom(const QString& folder, const QString& name)
{
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (translator->load(name, folder))
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
            if (isCompiledIn(candidate))
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
    installFrom(QLibraryInfo::path(QLibraryInfo::TranslationsPath), kToolkitTexts + language);
    installFrom(kFolder, kOwnTexts + language);
}

} // namespace translation
