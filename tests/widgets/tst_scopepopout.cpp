#include "support/logcatcher.h"
#include "support/rowwindow.h"
#include "support/signalmakers.h"
#include "widgets/unifiedaudioscope.h"

#include <QKeyEvent>
#include <QTest>
#include <QTimer>

#include <memory>

using Mode = UnifiedAudioScope::Mode;
Q_DECLARE_METATYPE(UnifiedAudioScope::Mode)

namespace {

struct Window : RowWindow<UnifiedAudioScope> {
    Window() { window->show(); }

    void doubleClickScope() const
    {
        QTest::mouseDClick(static_cast<QWidget*>(movable), Qt::LeftButton);
    }

    [[nodiscard]] bool isScopeInPlace() const
    {
        return isInPlace() && !movable->isPoppedOut() && movable->isVisible();
    }
};

} // namespace

/// The scope on its way out of its window and back.
class TestScopePopOut : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void aDoubleClickPopsOutAndAnotherRestoresInEveryMode_data()
    {
        QTest::addColumn<Mode>("mode");
        QTest::newRow("wave") << Mode::Wave;
        QTest::newRow("spectrum") << Mode::Spectrum;
        QTest::newRow("level") << Mode::Level;
    }

    void aDoubleClickPopsOutAndAnotherRestoresInEveryMode()
    {
        QFETCH(Mode, mode);
        Window w;
        w.movable->setMode(mode);
        const QList<float> signal = signal_makers::noise(500, 1);
        const QRect place = w.movable->geometry();
        for (int i = 0; i < 10; ++i) {
            w.doubleClickScope();
            QVERIFY(w.movable->isPoppedOut() && w.movable->isWindow());
            QCOMPARE(w.movable->windowTitle(), "Audio Scope");
            QCOMPARE(w.movable->size(), QSize(640, 360));
            QCOMPARE(w.row->indexOf(w.placeholder()), 1);
            QCOMPARE(w.placeholder()->minimumSize(), QSize(160, 90));
            w.movable->push(0, signal.constData(), 500);
            w.doubleClickScope();
            QVERIFY(w.isScopeInPlace());
            QCOMPARE(w.placeholder(), nullptr);
            QTRY_COMPARE(w.movable->geometry(), place);
            QCOMPARE(w.movable->mode(), mode);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
        QVERIFY(w.movable->findChild<QTimer*>()->isActive());
    }

    void returnPopsOutAndRestoresAsADoubleClickDoes()
    {
        Window w;
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
            QTest::keyClick(static_cast<QWidget*>(w.movable), key);
            QVERIFY(w.movable->isPoppedOut());
            QTest::keyClick(static_cast<QWidget*>(w.movable), key);
            QVERIFY(w.isScopeInPlace());
        }
        w.movable->setPopOutAllowed(false);
        QTest::keyClick(static_cast<QWidget*>(w.movable), Qt::Key_Return);
        QVERIFY(!w.movable->isPoppedOut());
    }

    void theToolTipTellsTheWayOutAndBack()
    {
        Window w;
        const QString toolTip = QStringLiteral(
            "Double-click or Return: a window of its own, and back. Right-click: what is shown.");
        QCOMPARE(w.movable->toolTip(), toolTip);
        w.doubleClickScope();
        QCOMPARE(w.movable->toolTip(), toolTip);
    }

    void aKeyHeldDownActsOnce()
    {
        Window w;
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QString(), true);
        QCoreApplication::sendEvent(w.movable, &repeated);
        QVERIFY(!w.movable->isPoppedOut());
    }

    void poppedOutItTicksOnWhileItsFormerWindowIsHidden()
    {
        Window w;
        w.doubleClickScope();
        w.window->hide();
        const QList<float> half(10, 0.5F);
        w.movable->push(0, half.constData(), 10);
        // 360 high: 180 − truncate(0.5 × 179)
        QTRY_COMPARE(w.movable->frame().pixel(639, 91), w.movable->traceColour(0).rgb());
    }

    void onlyTheLeftButtonPopsOutAndOnlyWhenAllowed()
    {
        Window w;
        QTest::mouseDClick(static_cast<QWidget*>(w.movable), Qt::RightButton);
        QVERIFY(!w.movable->isPoppedOut());
        w.movable->setPopOutAllowed(false);
        w.doubleClickScope();
        QVERIFY(!w.movable->isPoppedOut());
    }

    void withoutAParentADoubleClickDoesNothing()
    {
        UnifiedAudioScope scope;
        scope.resize(160, 90);
        scope.show();
        QTest::mouseDClick(static_cast<QWidget*>(&scope), Qt::LeftButton);
        QVERIFY(!scope.isPoppedOut());
        QCOMPARE(scope.size(), QSize(160, 90));
    }

    void closingThePoppedOutWindowRestores()
    {
        Window w;
        w.doubleClickScope();
        QVERIFY(w.movable->close());
        QTRY_VERIFY(w.isScopeInPlace());
    }

    void poppedOutItDoesNotKeepTheApplicationAlive()
    {
        Window w;
        w.doubleClickScope();
        QVERIFY(w.movable->isVisible());
        QMetaObject::invokeMethod(w.window.get(), &QWidget::close, Qt::QueuedConnection);
        constexpr int kStillAlive = 1;
        QTimer tooLate;
        connect(&tooLate, &QTimer::timeout, this, [] { QCoreApplication::exit(kStillAlive); });
        tooLate.start(5000);
        QCOMPARE(QCoreApplication::exec(), 0);
    }

    void withItsFormerWindowThePoppedOutScopeIsDeleted()
    {
        Window w;
        w.doubleClickScope();
        w.window.reset();
        QVERIFY(w.movable.isNull());
    }
};

QTEST_MAIN(TestScopePopOut)
#include "tst_scopepopout.moc"
