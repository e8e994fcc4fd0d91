#include "app/tracksplitter.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QTest>

#include <memory>

class TestTrackSplitter : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QScrollArea> m_area;
    TrackSplitter* m_splitter = nullptr;

    void addStrips(int count)
    {
        for (int i = 0; i < count; ++i) {
            auto* strip = new QWidget;
            strip->setMinimumHeight(80);
            m_splitter->addWidget(strip);
        }
    }

    void dragHandle(int index, int dy)
    {
        QWidget* handle = m_splitter->handle(index);
        const QPoint from(handle->width() / 2, 2);
        QTest::mousePress(handle, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, from + QPoint(0, dy),
                         handle->mapToGlobal(from + QPoint(0, dy)), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(handle, &move);
        QTest::mouseRelease(handle, Qt::LeftButton, {}, from);
        QCoreApplication::processEvents();
    }

private slots:

    void init()
    {
        m_area = std::make_unique<QScrollArea>();
        m_splitter = new TrackSplitter;
        m_area->setWidgetResizable(true);
        m_area->setFrameShape(QFrame::NoFrame);
        m_area->setWidget(m_splitter);
        m_area->resize(400, 400);
    }

    void isVerticalWithNarrowHandles()
    {
        QCOMPARE(m_splitter->orientation(), Qt::Vertical);
        QCOMPARE(m_splitter->handleWidth(), 4);
        QVERIFY(!m_splitter->childrenCollapsible());
    }

    void aDragMakesTheStripAboveHigherAndKeepsTheOthers()
    {
        addStrips(3);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        const QList<int> before = m_splitter->sizes();
        QCOMPARE(m_splitter->height(), 400);
        dragHandle(1, 100);
        QCOMPARE(m_splitter->sizes(), (QList<int>{before[0] + 100, before[1], before[2]}));
        QCOMPARE(m_splitter->height(), 500);
        QVERIFY(m_area->verticalScrollBar()->maximum() > 0);
    }

    void aDragStopsAtTheStripsMinimum()
    {
        addStrips(2);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        dragHandle(1, -1000);
        QCOMPARE(m_splitter->sizes(), (QList<int>{80, 400 - 4 - 80}));
        QCOMPARE(m_splitter->height(), 400);
    }

    void whatStillDoesNotFitLosesNoMoreThanWasTaken()
    {
        addStrips(3);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        const QList<int> before = m_splitter->sizes();
        dragHandle(1, 100);
        dragHandle(1, -40);
        QCOMPARE(m_splitter->sizes(), (QList<int>{before[0] + 60, before[1], before[2]}));
        QCOMPARE(m_splitter->height(), 460);
    }

    void theLastStripGivesItsRoomToTheOneAbove()
    {
        addStrips(2);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        m_splitter->setStripHeight(1, 100);
        QCOMPARE(m_splitter->sizes(), (QList<int>{400 - 4 - 100, 100}));
        QCOMPARE(m_splitter->height(), 400);
    }

    void stripsThatFitAgainShrinkWithTheWindow()
    {
        addStrips(2);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        dragHandle(1, 50);
        dragHandle(1, -60);
        m_area->resize(400, 300);
        QTRY_COMPARE(m_splitter->height(), 300);
    }

    void stripsThatDoNotFitScroll()
    {
        addStrips(30);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        QCOMPARE(m_splitter->height(), 30 * 80 + 29 * 4);
        for (const int height : m_splitter->sizes())
            QCOMPARE(height, 80);
    }

    void shareRoomForgetsHeightsGivenByHand()
    {
        addStrips(2);
        m_area->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_area.get()));
        dragHandle(1, 300);
        QVERIFY(m_splitter->height() > 400);
        m_splitter->shareRoom();
        QTRY_COMPARE(m_splitter->height(), 400);
    }
};

QTEST_MAIN(TestTrackSplitter)
#include "tst_tracksplitter.moc"
