#include "media/audio/streamconnection.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <atomic>
#include <future>
#include <memory>
#include <optional>

using media::audio::StreamStart;

namespace {

constexpr int kPatienceMs = 10000;
constexpr int kAllowedTooLate = 1;

std::atomic<int> touches = 0;
std::promise<void> server;

/// Lives on the thread of the streams; never deleted, as that thread ends last.
QObject* resident = nullptr;

void touch()
{
    ++touches;
    resident = new QObject;
    server.get_future().wait();
}

} // namespace

/// Who may start a stream, and when. There is one connection in the life of a
/// process, so the order of the functions matters.
class TestStreamConnection : public QObject {
    Q_OBJECT

private slots:

    void noStartWhileTheServerDoesNotAnswer()
    {
        const StreamStart first(touch);
        QVERIFY(!first.isAllowed());
        const StreamStart second(touch);
        QVERIFY(!second.isAllowed());
        server.set_value();
        QTRY_VERIFY_WITH_TIMEOUT(StreamStart(touch).isAllowed(), kPatienceMs);
        QCOMPARE(touches.load(), 1);
        QCOMPARE(resident->thread()->objectName(), QStringLiteral("audio-streams"));
    }

    void theThreadStandsStillUntilTheLastPermissionIsGivenBack()
    {
        std::optional<StreamStart> one(std::in_place, touch);
        std::optional<StreamStart> two(std::in_place, touch);
        QVERIFY(one->isAllowed() && two->isAllowed());
        std::atomic<bool> ran = false;
        QMetaObject::invokeMethod(
            resident, [&ran] { ran = true; }, Qt::QueuedConnection);
        QTest::qWait(50);
        QVERIFY(!ran);
        one.reset();
        QTest::qWait(50);
        QVERIFY(!ran);
        two.reset();
        QTRY_VERIFY_WITH_TIMEOUT(ran.load(), kPatienceMs);
    }

    void noStartWhileTheThreadIsBusyAndItGoesOnAfterTheRefusal()
    {
        std::promise<void> gate;
        QMetaObject::invokeMethod(
            resident, [opened = gate.get_future().share()] { opened.wait(); },
            Qt::QueuedConnection);
        QVERIFY(!StreamStart(touch).isAllowed());
        std::atomic<bool> ran = false;
        QMetaObject::invokeMethod(
            resident, [&ran] { ran = true; }, Qt::QueuedConnection);
        gate.set_value();
        QTRY_VERIFY_WITH_TIMEOUT(ran.load(), kPatienceMs);
        QVERIFY(StreamStart(touch).isAllowed());
    }
};

int main(int argc, char* argv[])
{
    int status = 0;
    {
        QCoreApplication application(argc, argv);
        TestStreamConnection test;
        status = QTest::qExec(&test, argc, argv);
    }
    // The application has ended, and the thread with it.
    return StreamStart(touch).isAllowed() ? kAllowedTooLate : status;
}

#include "tst_streamconnection.moc"
