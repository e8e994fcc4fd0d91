#include "app/sessionend.h"

#include <QStringList>
#include <QTest>

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
        QTest::addColumn<bool>("isAtRisk");
        QTest::addColumn<bool>("mayAsk");
        QTest::addColumn<bool>("agrees");
        QTest::addColumn<int>("questions");
        QTest::addColumn<QStringList>("told");
        QTest::newRow("nothing to lose") << false << true << false << 0 << QStringList();
        QTest::newRow("the user agrees")
            << true << true << true << 1 << QStringList{"asked for leave", "released"};
        QTest::newRow("the user does not")
            << true << true << false << 1 << QStringList{"asked for leave", "cancelled"};
        QTest::newRow("no leave to ask")
            << true << false << true << 0 << QStringList{"asked for leave", "cancelled"};
    }

    void isAnsweredAsTheUserSays()
    {
        QFETCH(bool, isAtRisk);
        QFETCH(bool, mayAsk);
        QFETCH(bool, agrees);
        FakeManager manager(mayAsk);
        int questions = 0;
        const bool agreed = session_end::answer(manager, isAtRisk, [&] {
            ++questions;
            return agrees;
        });
        QCOMPARE(agreed, isAtRisk && mayAsk && agrees);
        QTEST(questions, "questions");
        QTEST(manager.told, "told");
    }
};

QTEST_GUILESS_MAIN(TestSessionEnd)
#include "tst_sessionend.moc"
