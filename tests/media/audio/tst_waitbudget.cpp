#include "media/audio/waitbudget.h"

#include <QTest>

using media::audio::WaitBudget;
using std::chrono::milliseconds;
using namespace std::chrono_literals;

class TestWaitBudget : public QObject {
    Q_OBJECT

private slots:

    void aFirstWaitMayTakeAll()
    {
        const WaitBudget budget(900ms);
        QCOMPARE(budget.left(0ms), 900ms);
        QCOMPARE(budget.left(1'000'000ms), 900ms);
    }

    void aSecondWaitGetsWhatTheFirstHasLeft()
    {
        WaitBudget budget(900ms);
        budget.spend(5000ms, 5300ms);
        QCOMPARE(budget.left(5300ms), 600ms);
        budget.spend(5300ms, 5500ms);
        QCOMPARE(budget.left(5500ms), 400ms);
    }

    void whatIsInOrderIsAlwaysGivenItsTime()
    {
        WaitBudget budget(900ms);
        budget.spend(0ms, 900ms);
        QCOMPARE(budget.left(900ms), WaitBudget::kLeast);
        budget.spend(900ms, 950ms); // more than there was: nothing is owed for it
        QCOMPARE(budget.left(1850ms), 900ms);
    }

    void timeThatIsNotWaitedInGivesBackAsMuch()
    {
        WaitBudget budget(900ms);
        budget.spend(100ms, 1000ms);
        QCOMPARE(budget.left(1400ms), 400ms);
        QCOMPARE(budget.left(1900ms), 900ms);
        QCOMPARE(budget.left(9900ms), 900ms);
    }

    // However the waits are placed, a second holds no more than the budget and the least
    // of each wait.
    void waitsWithoutRestTakeTheBudgetOnce()
    {
        WaitBudget budget(900ms);
        milliseconds now{7};
        for (int wait = 0; wait < 3; ++wait) {
            const milliseconds end = now + budget.left(now);
            budget.spend(now, end);
            now = end;
        }
        QCOMPARE(now, 7ms + 900ms + 2 * WaitBudget::kLeast);
    }
};

QTEST_APPLESS_MAIN(TestWaitBudget)
#include "tst_waitbudget.moc"
