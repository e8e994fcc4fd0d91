#include "media/devices/devicelookup.h"
#include "support/logcatcher.h"

#include <QTest>

#include <memory>

using namespace media::devices;

namespace {

constexpr double kThreshold = 0.5;

} // namespace

class TestDeviceLookup : public QObject {
    Q_OBJECT

    std::unique_ptr<LogCatcher> m_log;

private slots:

    void init() { m_log = std::make_unique<LogCatcher>(); }

    void cleanup() { m_log.reset(); }

    void hardwareTagIsFoundInParenthesesOrAlone_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("tag");
        QTest::newRow("in parentheses") << "Box (1a2b:3c4d) Stereo"
                                        << "1a2b:3c4d";
        QTest::newRow("upper case") << "Box (1A2B:3C4D)"
                                    << "1a2b:3c4d";
        QTest::newRow("the first of two") << "(0001:0002) (0003:0004)"
                                          << "0001:0002";
        QTest::newRow("alone") << "1a2b:3C4D"
                               << "1a2b:3c4d";
        QTest::newRow("alone with blanks around") << " \t1a2b:3c4d \n"
                                                  << "1a2b:3c4d";
        QTest::newRow("bare within a text") << "Box 1a2b:3c4d"
                                            << "";
        QTest::newRow("five digits") << "(1a2b:3c4d5)"
                                     << "";
        QTest::newRow("three digits") << "(1a2:3c4d)"
                                      << "";
        QTest::newRow("not hexadecimal") << "(1g2b:3c4d)"
                                         << "";
        QTest::newRow("blank inside the parentheses") << "( 1a2b:3c4d)"
                                                      << "";
        QTest::newRow("nothing") << ""
                                 << "";
    }

    void hardwareTagIsFoundInParenthesesOrAlone()
    {
        QFETCH(QString, text);
        QFETCH(QString, tag);
        QCOMPARE(hardwareTag(text), tag);
    }

    void textSimilarityCountsEditsAgainstTheLongerText_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<double>("similarity");
        QTest::newRow("both empty") << ""
                                    << "" << 1.0;
        QTest::newRow("one empty") << ""
                                   << "abc" << 0.0;
        QTest::newRow("equal") << "speaker"
                               << "speaker" << 1.0;
        QTest::newRow("one substitution in four") << "abcd"
                                                  << "abxd" << 0.75;
        QTest::newRow("one insertion makes five") << "abcd"
                                                  << "abxcd" << 0.8;
        QTest::newRow("one deletion in five") << "abxcd"
                                              << "abcd" << 0.8;
        QTest::newRow("three edits in seven") << "kitten"
                                              << "sitting" << 4.0 / 7.0;
        QTest::newRow("letter case counts here") << "AB"
                                                 << "ab" << 0.0;
        QTest::newRow("nothing in common") << "abc"
                                           << "xyz" << 0.0;
        QTest::newRow("a surrogate pair is two units")
            << QString::fromUtf8("a\xF0\x9D\x84\x9E") << "a" << 1.0 / 3.0;
    }

    void textSimilarityCountsEditsAgainstTheLongerText()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(double, similarity);
        QCOMPARE(textSimilarity(a, b), similarity);
        QCOMPARE(textSimilarity(b, a), similarity);
    }

    void matchScoreRanksTagsAboveNames_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("description");
        QTest::addColumn<double>("score");
        QTest::newRow("same tag, other name, other case") << "Box (1A2B:3c4d)"
                                                          << "Something else (1a2b:3C4D)" << 1.0;
        QTest::newRow("same name without a tag") << "Headset"
                                                 << "HEADSET" << 0.9;
        QTest::newRow("just similar enough") << "abcd"
                                             << "abxy" << 0.45;
        QTest::newRow("not similar enough") << "abcde"
                                            << "abxyz" << 0.0;
        QTest::newRow("two different tags, eight of ten equal")
            << "(0001:0002)"
            << "(0001:0003)" << 0.9 * 10.0 / 11.0;
    }

    void matchScoreRanksTagsAboveNames()
    {
        QFETCH(QString, key);
        QFETCH(QString, description);
        QFETCH(double, score);
        QCOMPARE(matchScore(key, description, kThreshold), score);
    }

    void findDevicePrefersTheExactIdToAnyName()
    {
        const QList<DeviceEntry> devices = {
            {"first", "6162"}, {"ab", "Loudspeaker"}, {"AB", "Loudspeaker"}};
        QCOMPARE(findDevice(devices, "6162", kThreshold), 1);
        QCOMPARE(findDevice(devices, "4142", kThreshold), 2);
    }

    void findDeviceComparesIdsInLowerCaseOnly()
    {
        const QList<DeviceEntry> devices = {{"jk", "Loudspeaker"}};
        QCOMPARE(findDevice(devices, "6a6b", kThreshold), 0);
        QCOMPARE(findDevice(devices, "6A6B", kThreshold), -1);
    }

    void findDeviceFindsATagUnderAnotherNameAheadOfTheSameName()
    {
        const QList<DeviceEntry> devices = {{"a", "Headset (1a2b:3c4d"},
                                            {"b", "Renamed thing (1A2B:3C4D)"}};
        QCOMPARE(findDevice(devices, "Headset (1a2b:3c4d)", kThreshold), 1);
    }

    void findDeviceTakesAKeyThatIsNothingButATag()
    {
        const QList<DeviceEntry> devices = {{"a", "Headset"}, {"b", "Box (1a2b:3c4d)"}};
        QCOMPARE(findDevice(devices, "  1A2B:3C4D ", kThreshold), 1);
    }

    void findDeviceTakesTheMostSimilarNameAndTheFirstOfEquals_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<qsizetype>("index");
        QTest::newRow("most similar, not first") << "built-in audio pro" << qsizetype{2};
        QTest::newRow("first of two equal names") << "USB Headset" << qsizetype{1};
        QTest::newRow("first of two equally far") << "USB Headsex" << qsizetype{1};
        QTest::newRow("less than half in common") << "Xylophone" << qsizetype{-1};
        QTest::newRow("empty key") << "" << qsizetype{-1};
        QTest::newRow("letters outside Latin-1") << QString::fromUtf8("Ωmega") << qsizetype{-1};
    }

    void findDeviceTakesTheMostSimilarNameAndTheFirstOfEquals()
    {
        const QList<DeviceEntry> devices = {{"a", "Built-in Audio"},
                                            {"b", "USB Headset"},
                                            {"c", "Built-in Audio Pro"},
                                            {"d", "USB Headset"}};
        QFETCH(QString, key);
        QFETCH(qsizetype, index);
        QCOMPARE(findDevice(devices, key, kThreshold), index);
    }

    void findDeviceInAnEmptyListFindsNothing()
    {
        QCOMPARE(findDevice({}, "Headset", kThreshold), -1);
    }

    void listSignatureIsTheSha1OfAllDescriptionsInOrder()
    {
        // sha1("") and sha1("abc") as the standard prints them.
        QCOMPARE(listSignature({}), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
        QCOMPARE(listSignature({"abc"}), "a9993e364706816aba3e25717850c26c9cd0d89d");
        QCOMPARE(listSignature({"a", "bc"}), listSignature({"ab", "c"}));
        QVERIFY(listSignature({"a", "b"}) != listSignature({"b", "a"}));
    }
};

QTEST_APPLESS_MAIN(TestDeviceLookup)
#include "tst_devicelookup.moc"
