#include "app/startup.h"

#include "app/translation.h"
#include "app/vela.h"
#include "media/devices/mediaplatform.h"
#include "settings/identity.h"
#include "settings/settings.h"

#include <QApplication>
#include <QIcon>
#include <QLocale>
#include <QSharedPointer>
#include <QStyleFactory>

#include <memory>
#include <registerresources.h>

void applyStyle(const QString& name)
{
    if (QStyle* style = QStyleFactory::create(name))
        QApplication::setStyle(style);
}

int runVela(int& argc, char** argv)
{
    registerResources();
    prepareMediaPlatform();
    QCoreApplication::setOrganizationName(QString::fromUtf16(kOrganisationName));
    QCoreApplication::setOrganizationDomain(QString::fromUtf16(kOrganisationDomain));
    auto application = std::make_unique<QApplication>(argc, argv);
    translation::install(QLocale::system());
    QCoreApplication::setApplicationName(QString::fromUtf16(kOrganisationName) +
                                         QStringLiteral(" Vela"));
    QCoreApplication::setApplicationVersion(QString::fromUtf16(kVersion));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/vector/logo.svg")));
    applyStyle(QStringLiteral("fusion"));
    QApplication::setQuitOnLastWindowClosed(true);

    auto window = std::make_unique<Vela>();
    // The window keeps a weak reference only, and nobody else keeps one: the
    // store ends here, so every start begins from the defaults.
    window->setSettings(QSharedPointer<Settings>::create(QString(), QString(), QString(),
                                                         QStringLiteral("Vela.ini")));
    window->setWindowTitle(QStringLiteral("Quorix Vela"));
    QObject::connect(application.get(), &QGuiApplication::commitDataRequest, window.get(),
                     &Vela::answerSessionEnd);
    window->show();
    const int result = QApplication::exec();
    window.reset();
    application.reset();
    return result;
}
