#include "app/sessionend.h"

#include <QList>
#include <QStringList>
#include <QTest>

#include <optional>

using session_end::Risk;
using Risks = QList<Risk>;
using Answer = std::optional<bool>;

namespace {

/// A desktop's session manager that notes what it is told.
class FakeManager {
public:
    explicit FakeManager(bool allowsInteraction)
        : m_allowsInteraction(allowsInteraction)
    {
    }

    [[nodiscard]] bool allowsInteraction()
    {
        told << QStringLiteral("asked for leave");
        return m_allowsInteraction;
    }

    void release() { told << QStringLiteral("released"); }

    void cancel() { told << QStringLiteral("cancelled"); }

    QStringList told;

private:
    bool m_allowsInteraction;
};

} // namespace

class TestSessionEnd : public QObject {
    Q_OBJECT

private slots:

    void isAnsweredAsTheUserSays_data()
    {
        QTest::addColumn<Risks>("risks");
        QTest::addColumn<bool>("mayAsk");
        QTest::addColumn<bool>("agrees");
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<QStringList>("told");
        QTest::newRow("nothing to lose")
            << Risks{Risk::Nothing} << true << false << Answer() << QStringList();
        QTest::newRow("the user agrees")
            << Risks{Risk::UnsavedChanges, Risk::UnsavedChanges} << true << true << Answer(true)
            << QStringList{"asked for leave", "asked the user", "released"};
        QTest::newRow("the user does not")
            << Risks{Risk::UnsavedChanges, Risk::UnsavedChanges} << true << false << Answer(false)
            << QStringList{"asked for leave", "asked the user", "cancelled"};
        QTest::newRow("no leave to ask") << Risks{Risk::UnsavedChanges} << false << true << Answer()
                                         << QStringList{"asked for leave", "cancelled"};
        QTest::newRow("the window is closed while others ask")
            << Risks{Risk::UnsavedChanges, Risk::Nothing} << true << false << Answer()
            << QStringList{"asked for leave", "released"};
        QTest::newRow("a save begins while others ask")
            << Risks{Risk::UnsavedChanges, Risk::RunningSave} << true << true << Answer()
            << QStringList{"asked for leave", "cancelled"};
        QTest::newRow("a save is running")
            << Risks{Risk::RunningSave} << true << true << Answer() << QStringList{"cancelled"};
    }

    void isAnsweredAsTheUserSays()
    {
        QFETCH(Risks, risks);
        QFETCH(bool, mayAsk);
        QFETCH(bool, agrees);
        QFETCH(Answer, answer);
        FakeManager manager(mayAsk);
        const auto look = [&risks] { return risks.takeFirst(); };
        const Answer said = session_end::answer(manager, look, [&] {
            manager.told << QStringLiteral("asked the user");
            return agrees;
        });
        QVERIFY(said == answer);
        QTEST(manager.told, "told");
        QVERIFY(risks.isEmpty());
    }

    void anAgreementHoldsForWhatWasChangedByThenAndForAMinute()
    {
        session_end::Agreement agreement;
        QVERIFY(!agreement.holds(0, 0));
        agreement.give(3, 1000);
        QVERIFY(agreement.holds(3, 1000));
        QVERIFY(agreement.holds(3, 60999));
        QVERIFY(!agreement.holds(3, 61000));
        QVERIFY(!agreement.holds(4, 1000));
        agreement.withdraw();
        QVERIFY(!agreement.holds(3, 1000));
    }
};

QTEST_GUILESS_MAIN(TestSessionEnd)
#include "tst_sessionend.moc"
