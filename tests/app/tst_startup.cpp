#include "app/startup.h"
#include "support/logcatcher.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QIcon>
#include <QScopeGuard>
#include <QStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <array>
#include <functional>
#include <memory>

namespace {

/// What happens in the event loop that runVela() runs.
std::function<void()> inTheLoop;

/// The name and the domain that there are when the application is made.
QStringList organisation;

void noteOrganisationAndPostToTheLoop()
{
    organisation = {QCoreApplication::organizationName(), QCoreApplication::organizationDomain()};
    QTimer::singleShot(0, QCoreApplication::instance(), [] { inTheLoop(); });
}

QWidget* mainWindow()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == QLatin1String("Vela"))
            return widget;
    }
    return nullptr;
}

int run()
{
    std::array<char, 5> name{"vela"};
    std::array<char*, 2> arguments{name.data(), nullptr};
    int count = 1;
    return runVela(count, arguments.data());
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(noteOrganisationAndPostToTheLoop)

/// The program from its first step to its last, in this process.
class TestStartup : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;
    QTemporaryDir m_home;

private slots:

    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("data"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("config"))));
        qputenv("HOME", QFile::encodeName(m_home.path()));
        // Or the platform's style would be the program's already.
        qputenv("QT_STYLE_OVERRIDE", "windows");
        QVERIFY(QDir(m_home.path()).mkpath(QStringLiteral("Desktop")));
    }

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void identityAndLookAreSetWhenTheLoopRuns()
    {
        bool looked = false;
        inTheLoop = [&looked] {
            const auto end = qScopeGuard([] { mainWindow()->close(); });
            QCOMPARE(QCoreApplication::organizationName(), "Quorix");
            QCOMPARE(QCoreApplication::organizationDomain(), "quorix.com");
            QCOMPARE(QCoreApplication::applicationName(), "Quorix Vela");
            QCOMPARE(QCoreApplication::applicationVersion(), "1.0");
            QCOMPARE(QGuiApplication::desktopFileName(), "com.quorix.Vela");
            QCOMPARE(QApplication::style()->name(), "fusion");
            QVERIFY(QApplication::quitOnLastWindowClosed());
            QVERIFY(QFile::exists(QStringLiteral(":/vector/logo.svg")));
            QVERIFY(!QApplication::windowIcon().isNull());
            QWidget* window = mainWindow();
            QVERIFY(window);
            QVERIFY(window->isVisible() && window->isWindow());
            QVERIFY(!window->isFullScreen());
            QCOMPARE(window->parentWidget(), nullptr);
            QCOMPARE(window->windowTitle(), "Quorix Vela");
            looked = true;
        };
        QCOMPARE(run(), 0);
        QVERIFY(looked);
    }

    // No platform of a test has a session manager that could ask.
    void theWindowAnswersASessionThatEnds()
    {
        bool answers = false;
        inTheLoop = [&answers] {
            answers = QObject::disconnect(qApp, &QGuiApplication::commitDataRequest, mainWindow(),
                                          nullptr);
            mainWindow()->close();
        };
        QCOMPARE(run(), 0);
        QVERIFY(answers);
    }

    void theApplicationIsMadeForAnOrganisation()
    {
        QCoreApplication::setOrganizationName({});
        QCoreApplication::setOrganizationDomain({});
        inTheLoop = [] { mainWindow()->close(); };
        QCOMPARE(run(), 0);
        QCOMPARE(organisation, (QStringList{"Quorix", "quorix.com"}));
    }

    void aStyleThatIsMissingLeavesTheOneThereIsWithoutAWord()
    {
        bool looked = false;
        inTheLoop = [this, &looked] {
            const auto end = qScopeGuard([] { mainWindow()->close(); });
            const QStyle* const before = QApplication::style();
            m_log.reset();
            m_log = std::make_unique<LogCatcher>();
            applyStyle(QStringLiteral("no such style"));
            QCOMPARE(QApplication::style(), before);
            for (const QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg})
                QCOMPARE(m_log->texts(type), QStringList());
            applyStyle(QStringLiteral("windows"));
            QCOMPARE(QApplication::style()->name(), "windows");
            looked = true;
        };
        QCOMPARE(run(), 0);
        QVERIFY(looked);
    }

    void theLoopsResultIsThePrograms()
    {
        inTheLoop = [] { QCoreApplication::exit(7); };
        QCOMPARE(run(), 7);
    }

    void whatAnEarlierRunStoredIsNotUsed()
    {
        const QString folder = m_home.filePath(QStringLiteral("data/Quorix/Quorix Vela"));
        QVERIFY(QDir().mkpath(folder));
        QFile file(folder + QStringLiteral("/Vela.ini"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const QByteArray stored = "[vela]\nlastFileDir=" + QFile::encodeName(m_home.path()) +
                                  "/song.wav\nfullScreen=true\n";
        file.write(stored);
        file.close();

        QString start;
        inTheLoop = [&start] {
            QVERIFY(!mainWindow()->isFullScreen());
            QTimer::singleShot(0, qApp, [&start] {
                auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                QVERIFY(dialog);
                start = dialog->directory().absolutePath();
                dialog->reject();
            });
            QMetaObject::invokeMethod(mainWindow(), "load", Q_ARG(QString, QString()));
            mainWindow()->close();
        };
        QCOMPARE(run(), 0);
        QCOMPARE(start, m_home.filePath(QStringLiteral("Desktop")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), stored);
    }
};

QTEST_APPLESS_MAIN(TestStartup)
#include "tst_startup.moc"
