#include "support/foldersuite.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QSettings>
#include <QTest>
#include <QThread>

#include <memory>

class TestSettingsProcesses : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString path() const { return in("Vela.ini"); }

    static std::unique_ptr<QProcess> startWriter(const QString& file, const QString& key, int count)
    {
        auto writer = std::make_unique<QProcess>();
        writer->start(QStringLiteral(SETTINGS_WRITER), {file, key, QString::number(count)});
        return writer;
    }

    static bool isOnlyLetters(const QString& text) { return text.count(u'x') == text.size(); }

private slots:

    void theFileSurvivesAWriterKilledAtAnyMoment()
    {
        constexpr int kKills = 100;
        constexpr int kFillerKeys = 300;
        constexpr int kEndless = 1'000'000;
        constexpr quint32 kLongestRunMicroseconds = 20'000;
        {
            QSettings filler(path(), QSettings::IniFormat);
            for (int i = 0; i < kFillerKeys; ++i)
                filler.setValue(QStringLiteral("filler/%1").arg(i), i);
        }
        QRandomGenerator random(20'240'601);
        for (int kill = 0; kill < kKills; ++kill) {
            const auto writer = startWriter(path(), "vela/key", kEndless);
            QVERIFY(writer->waitForReadyRead(20'000));
            QThread::usleep(random.bounded(kLongestRunMicroseconds));
            writer->kill();
            QVERIFY(writer->waitForFinished(20'000));
            QCOMPARE(writer->exitStatus(), QProcess::CrashExit);

            const QSettings after(path(), QSettings::IniFormat);
            QCOMPARE(after.status(), QSettings::NoError);
            QCOMPARE(after.allKeys().size(), kFillerKeys + 1);
            for (int i = 0; i < kFillerKeys; ++i)
                QCOMPARE(after.value(QStringLiteral("filler/%1").arg(i)).toInt(), i);
            const QString value = after.value("vela/key").toString();
            QVERIFY(!value.isEmpty() && isOnlyLetters(value));
        }
    }

    void twoWritersKeepEachOthersKeys()
    {
        constexpr int kWrites = 150;
        const auto one = startWriter(path(), "one/key", kWrites);
        const auto two = startWriter(path(), "two/key", kWrites);
        for (QProcess* writer : {one.get(), two.get()}) {
            QVERIFY(writer->waitForFinished(60'000));
            QCOMPARE(writer->exitStatus(), QProcess::NormalExit);
            QCOMPARE(writer->exitCode(), 0);
            QCOMPARE(writer->readAllStandardError(), QByteArray());
        }
        const QSettings after(path(), QSettings::IniFormat);
        QCOMPARE(after.status(), QSettings::NoError);
        QCOMPARE(after.allKeys(), (QStringList{"one/key", "two/key"}));
        QCOMPARE(after.value("one/key").toString(), QString(kWrites, u'x'));
        QCOMPARE(after.value("two/key").toString(), QString(kWrites, u'x'));
    }
};

QTEST_GUILESS_MAIN(TestSettingsProcesses)
#include "tst_settings_processes.moc"
