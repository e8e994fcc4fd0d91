#include "lifecycle/pointercheck.h"
#include "support/logcatcher.h"

#include <QTest>

class TestPointerCheck : public QObject {
    Q_OBJECT

private slots:

    void staysSilentForLiveAddresses()
    {
        const LogCatcher log;
        checkPointers(this, this);
        QVERIFY(log.texts(QtWarningMsg).isEmpty());
    }

    void reportsBothAddressesIndependently()
    {
        LogCatcher log;
        const auto* low = reinterpret_cast<const void*>(quintptr{851967});
        const auto* bound = reinterpret_cast<const void*>(quintptr{851968});
        const QString self = QStringLiteral(
            "ERROR: this <  851968 , which likely means dangling pointer or nullptr access");
        const QString parent = QStringLiteral(
            "ERROR: parent-this <  851968 , which likely means dangling pointer or nullptr access");

        checkPointers(low, bound);
        QCOMPARE(log.texts(QtWarningMsg), QStringList{self});
        checkPointers(bound, nullptr);
        QCOMPARE(log.texts(QtWarningMsg), (QStringList{self, parent}));
        checkPointers(nullptr, low);
        QCOMPARE(log.take(QtWarningMsg, self), 2);
        QCOMPARE(log.take(QtWarningMsg, parent), 2);
    }
};

QTEST_APPLESS_MAIN(TestPointerCheck)
#include "tst_pointercheck.moc"
