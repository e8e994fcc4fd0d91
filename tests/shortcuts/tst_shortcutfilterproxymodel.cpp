#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcutfilterproxymodel.h"
#include "shortcuts/shortcutmodel.h"
#include "shortcuts/shortcutregistry.h"
#include "support/logcatcher.h"

#include <QAbstractItemModelTester>
#include <QRegularExpression>
#include <QTest>

#include <memory>

class TestShortcutFilterProxyModel : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void theFilterSearchesNamesAndDetails_data()
    {
        QTest::addColumn<QString>("pattern");
        QTest::addColumn<QStringList>("names");
        const QStringList zooms{"Zoom In", "Zoom Out", "Zoom to Fit", "Zoom to Selection"};
        QTest::newRow("name or details, any case") << "zOOm" << zooms;
        QTest::newRow("details only") << "all tracks" << QStringList{"Zoom to Fit"};
        QTest::newRow("an expression, not escaped") << "^(cut|copy)$" << QStringList{"Copy", "Cut"};
        QTest::newRow("the key is not searched") << "Ctrl" << QStringList{};
        QTest::newRow("the context is not searched") << "track_editor" << QStringList{};
        QTest::newRow("an open bracket is not valid") << "(" << QStringList{};
        QTest::newRow("a lone star is not valid") << "*" << QStringList{};
        QTest::newRow("a valid expression that nothing matches") << "zoom\n" << QStringList{};
    }

    void theFilterSearchesNamesAndDetails()
    {
        QFETCH(const QString, pattern);
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        ShortcutModel model;
        model.setEntries(registry.entries());
        ShortcutFilterProxyModel proxy;
        const QAbstractItemModelTester tester(
            &proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.setSourceModel(&model);
        QCOMPARE(proxy.rowCount(), 24);

        proxy.setFilterRegularExpression(
            QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption));
        QStringList names;
        for (int row = 0; row < proxy.rowCount(); ++row)
            names << proxy.index(row, 0).data().toString();
        QTEST(names, "names");

        proxy.setFilterRegularExpression(QRegularExpression());
        QCOMPARE(proxy.rowCount(), 24);
    }

    void everyRowMatchesTheAnyExpression()
    {
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        ShortcutModel model;
        ShortcutFilterProxyModel proxy;
        const QAbstractItemModelTester tester(
            &proxy, QAbstractItemModelTester::FailureReportingMode::QtTest);
        proxy.setSourceModel(&model);
        proxy.setFilterRegularExpression(QRegularExpression(QStringLiteral(".")));
        model.setEntries(registry.entries());
        QCOMPARE(proxy.rowCount(), 24);
        model.setCurrentContext("track_editor");
        QCOMPARE(proxy.index(23, 0).data(Qt::BackgroundRole).value<QColor>(), QColor(60, 90, 60));
    }
};

QTEST_GUILESS_MAIN(TestShortcutFilterProxyModel)
#include "tst_shortcutfilterproxymodel.moc"
