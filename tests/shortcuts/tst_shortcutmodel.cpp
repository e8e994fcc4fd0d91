#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcutmodel.h"
#include "shortcuts/shortcutregistry.h"
#include "support/logcatcher.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>

#include <memory>

class TestShortcutModel : public QObject {
    Q_OBJECT

private:
    using Tester = QAbstractItemModelTester;
    static constexpr auto kMode = Tester::FailureReportingMode::QtTest;

    static QList<ShortcutEntry> twoEntries()
    {
        return {{"a.id", "global", "A name", "A detail", QKeySequence("Ctrl+Shift+T")},
                {"b.id", "track_editor", "B name", "B detail", QKeySequence("Space")}};
    }

    static HoldEntry hold(quint32 modifiers)
    {
        return {"h.id", "track_editor", "H name", "H detail", modifiers};
    }

    static QStringList rowTexts(const ShortcutModel& model, int row)
    {
        QStringList texts;
        for (int column = 0; column < model.columnCount(); ++column)
            texts << model.index(row, column).data().toString();
        return texts;
    }

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void anEmptyModelHasFourColumnsAndNoRows()
    {
        ShortcutModel model;
        const Tester tester(&model, kMode);
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(model.columnCount(), 4);
        const QSignalSpy changes(&model, &ShortcutModel::dataChanged);
        model.setCurrentContext("global");
        QCOMPARE(changes.count(), 0);
    }

    void keyEntriesComeBeforeHoldEntries()
    {
        ShortcutModel model;
        const Tester tester(&model, kMode);
        model.setHoldEntries({hold(Qt::ShiftModifier)});
        model.setEntries(twoEntries());
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(rowTexts(model, 0), (QStringList{"A name", "A detail", "global", "Ctrl+Shift+T"}));
        QCOMPARE(rowTexts(model, 1), (QStringList{"B name", "B detail", "track_editor", "Space"}));
        QCOMPARE(rowTexts(model, 2),
                 (QStringList{"H name", "H detail", "track_editor", "Shift (hold)"}));
        QCOMPARE(model.rowCount(model.index(0, 0)), 0);
        QCOMPARE(model.columnCount(model.index(0, 0)), 0);
    }

    void settingEntriesResetsTheModel()
    {
        ShortcutModel model;
        const Tester tester(&model, kMode);
        const QSignalSpy resets(&model, &ShortcutModel::modelReset);
        model.setEntries(twoEntries());
        model.setHoldEntries({hold(0)});
        model.setEntries({});
        QCOMPARE(resets.count(), 3);
        QCOMPARE(model.rowCount(), 1);
    }

    void headersAreHorizontalDisplayTextsOnly()
    {
        const ShortcutModel model;
        QStringList headers;
        for (int section = 0; section < 4; ++section)
            headers << model.headerData(section, Qt::Horizontal).toString();
        QCOMPARE(headers, (QStringList{"Name", "Details", "Context", "Shortcut"}));
        QVERIFY(!model.headerData(-1, Qt::Horizontal).isValid());
        QVERIFY(!model.headerData(4, Qt::Horizontal).isValid());
        QVERIFY(!model.headerData(0, Qt::Vertical).isValid());
        QVERIFY(!model.headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
    }

    void dataIsEmptyForInvalidIndexesAndOtherRoles()
    {
        ShortcutModel model;
        model.setEntries(twoEntries());
        QVERIFY(!model.data({}).isValid());
        QVERIFY(!model.data(model.index(-1, 0)).isValid());
        for (int role = 0; role < Qt::UserRole + 2; ++role) {
            if (role != Qt::DisplayRole && role != Qt::BackgroundRole && role != Qt::ForegroundRole)
                QVERIFY(!model.data(model.index(0, 0), role).isValid());
        }
    }

    void dataIsEmptyForIndexesBeyondTheTable()
    {
        ShortcutModel model;
        model.setEntries(twoEntries());
        const QStandardItemModel larger(5, 6);
        QVERIFY(model.data(larger.index(1, 3)).isValid());
        QVERIFY(!model.data(larger.index(1, 4)).isValid());
        QVERIFY(!model.data(larger.index(1, 5)).isValid());
        QVERIFY(!model.data(larger.index(2, 0)).isValid());
        QVERIFY(!model.data(larger.index(2, 0), Qt::BackgroundRole).isValid());
    }

    void holdTextNamesTheModifiersInFixedOrder_data()
    {
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none") << 0U << QStringLiteral("\u2014 (hold)");
        QTest::newRow("Shift") << 0x02000000U << "Shift (hold)";
        QTest::newRow("Control") << 0x04000000U << "Ctrl (hold)";
        QTest::newRow("Alt") << 0x08000000U << "Alt (hold)";
        QTest::newRow("Meta") << 0x10000000U << "Meta (hold)";
        QTest::newRow("all four") << 0x1E000000U << "Ctrl+Shift+Alt+Meta (hold)";
        QTest::newRow("keypad is none of them") << 0x20000000U << QStringLiteral("\u2014 (hold)");
        QTest::newRow("keypad and Alt") << 0x28000000U << "Alt (hold)";
    }

    void holdTextNamesTheModifiersInFixedOrder()
    {
        QFETCH(const quint32, modifiers);
        ShortcutModel model;
        model.setHoldEntries({hold(modifiers)});
        QTEST(model.index(0, 3).data().toString(), "expected");
    }

    void rowsAreShadedByContext()
    {
        ShortcutModel model;
        const Tester tester(&model, kMode);
        model.setEntries(twoEntries());
        const auto isActive = [&model](int row) {
            bool active = true;
            for (int column = 0; column < 4; ++column) {
                const QModelIndex cell = model.index(row, column);
                active = active && cell.data(Qt::BackgroundRole) == QColor(60, 90, 60, 255) &&
                         !cell.data(Qt::ForegroundRole).isValid();
            }
            return active;
        };
        const auto isInactive = [&model](int row) {
            bool inactive = true;
            for (int column = 0; column < 4; ++column) {
                const QModelIndex cell = model.index(row, column);
                inactive = inactive && cell.data(Qt::BackgroundRole) == QColor(40, 40, 40, 255) &&
                           cell.data(Qt::ForegroundRole) == QColor(120, 120, 120, 255);
            }
            return inactive;
        };
        QVERIFY(isActive(0) && isInactive(1));
        model.setCurrentContext("global");
        QVERIFY(isActive(0) && isInactive(1));
        model.setCurrentContext("track_editor");
        QVERIFY(isActive(0) && isActive(1));
    }

    void inTheGlobalContextTheFirstFourteenOfTheCatalogueAreActive()
    {
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        ShortcutModel model;
        const Tester tester(&model, kMode);
        model.setEntries(registry.entries());
        model.setCurrentContext("global");
        QCOMPARE(model.rowCount(), 24);
        for (int row = 0; row < 24; ++row) {
            const QColor expected = row < 14 ? QColor(60, 90, 60) : QColor(40, 40, 40);
            QCOMPARE(model.index(row, 0).data(Qt::BackgroundRole).value<QColor>(), expected);
        }
    }

    void settingTheContextNotifiesAllCellsEveryTime()
    {
        ShortcutModel model;
        const Tester tester(&model, kMode);
        model.setEntries(twoEntries());
        const QSignalSpy changes(&model, &ShortcutModel::dataChanged);
        model.setCurrentContext("global");
        model.setCurrentContext("global");
        QCOMPARE(changes.count(), 2);
        QCOMPARE(changes[1][0].toModelIndex(), model.index(0, 0));
        QCOMPARE(changes[1][1].toModelIndex(), model.index(1, 3));
    }
};

QTEST_GUILESS_MAIN(TestShortcutModel)
#include "tst_shortcutmodel.moc"
