#include "media/devices/platformconnection.h"
#include "support/logcatcher.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>

using media::devices::PlatformConnection;
using namespace std::chrono_literals;

namespace {

constexpr auto kWarning =
    "PlatformConnection: the sound server does not answer; going on without devices until it does";

/// A server that answers when the test lets it.
struct SlowServer {
    QSemaphore asked;
    QSemaphore mayAnswer;

    std::function<void()> question()
    {
        return [this] {
            asked.release();
            mayAnswer.acquire();
        };
    }
};

} // namespace

class TestPlatformConnection : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void openAsksOnceOnAThreadOfItsOwn()
    {
        int questions = 0;
        const QThread* thread = nullptr;
        PlatformConnection connection([&] {
            ++questions;
            thread = QThread::currentThread();
        });
        QVERIFY(!connection.isOpen());
        QSignalSpy opened(&connection, &PlatformConnection::opened);
        QVERIFY(connection.open(10s));
        QVERIFY(connection.isOpen());
        QVERIFY(connection.open(10s));
        QTRY_COMPARE(opened.size(), 1);
        QCOMPARE(questions, 1);
        QVERIFY(thread != QThread::currentThread());
        QCOMPARE(thread->objectName(), "audio-devices");
    }

    void openedArrivesOnTheThreadOfTheConnection()
    {
        PlatformConnection connection([] {});
        const QThread* arrived = nullptr;
        QObject::connect(&connection, &PlatformConnection::opened,
                         [&] { arrived = QThread::currentThread(); });
        QVERIFY(connection.open(10s));
        QTRY_COMPARE(arrived, QThread::currentThread());
    }

    void openGivesUpWaitingAtTheBoundAndIsOpenedByALateAnswer()
    {
        SlowServer server;
        PlatformConnection connection(server.question());
        QSignalSpy opened(&connection, &PlatformConnection::opened);
        QVERIFY(!connection.open(20ms));
        QCOMPARE(m_log->take(QtWarningMsg, kWarning), 1);
        QVERIFY(!connection.isOpen());
        // A second wait of this length would end by the test's own time limit.
        QVERIFY(!connection.open(std::chrono::hours(1)));
        QVERIFY(server.asked.tryAcquire(1, 10000));
        QCOMPARE(opened.size(), 0);

        server.mayAnswer.release();
        QTRY_COMPARE(opened.size(), 1);
        QVERIFY(connection.isOpen());
        QVERIFY(connection.open(0ms));
    }

    void theThreadGoesOnServingEventsAfterTheAnswer()
    {
        std::unique_ptr<QObject> living;
        PlatformConnection connection([&] { living = std::make_unique<QObject>(); });
        QVERIFY(connection.open(10s));
        QSemaphore fired;
        QMetaObject::invokeMethod(
            living.get(), [&] { QTimer::singleShot(1, living.get(), [&] { fired.release(); }); });
        QVERIFY(fired.tryAcquire(1, 10000));
        QVERIFY(connection.close(10s));
    }

    void closeEndsAnAnsweredThreadAndLeavesAHangingOneAlone()
    {
        SlowServer server;
        PlatformConnection hanging(server.question());
        QVERIFY(!hanging.open(1ms));
        QCOMPARE(m_log->take(QtWarningMsg, kWarning), 1);
        QVERIFY(!hanging.close(20ms));
        server.mayAnswer.release();
        QVERIFY(hanging.close(10s));
    }

    void closeBeforeAnyQuestionHasNothingToEnd()
    {
        PlatformConnection connection([] {});
        QVERIFY(connection.close(0ms));
    }
};

QTEST_GUILESS_MAIN(TestPlatformConnection)
#include "tst_platformconnection.moc"
