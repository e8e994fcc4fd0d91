#include "settings/identity.h"

#include <QTest>

class TestIdentity : public QObject {
    Q_OBJECT

private slots:

    void desktopEntryNameReversesTheDomainAndAddsTheLastWord_data()
    {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<QString>("application");
        QTest::addColumn<QString>("expected");
        QTest::newRow("ours") << "quorix.com"
                              << "Quorix Vela"
                              << "com.quorix.Vela";
        QTest::newRow("one word") << "example.org"
                                  << "Tool"
                                  << "org.example.Tool";
        QTest::newRow("three labels") << "a.b.example"
                                      << "My Own Tool"
                                      << "example.b.a.Tool";
        QTest::newRow("no domain") << ""
                                   << "Tool"
                                   << "Tool";
        QTest::newRow("no name") << "example.org"
                                 << " "
                                 << "org.example";
    }

    void desktopEntryNameReversesTheDomainAndAddsTheLastWord()
    {
        QFETCH(const QString, domain);
        QFETCH(const QString, application);
        QTEST(desktopEntryName(domain, application), "expected");
    }
};

QTEST_APPLESS_MAIN(TestIdentity)
#include "tst_identity.moc"
