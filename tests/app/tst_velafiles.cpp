#include "app/dialoganswers.h"
#include "app/filework.h"
#include "app/vela.h"
#include "media/devices/mediaplatform.h"
#include "project/projectfile.h"
#include "project/stalling.h"
#include "settings/settings.h"
#include "support/files.h"
#include "support/foldersuite.h"
#include "support/hangingserver.h"
#include "support/mediafiles.h"
#include "support/signalmakers.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <memory>
#include <registerresources.h>

using namespace dialog_answers;

/// The window's file commands, with a user who answers the dialogs.
class TestVelaFiles : public FolderSuite {
    Q_OBJECT

private:
    [[nodiscard]] QString wavFile(int rateHz, qsizetype frames) const
    {
        const QByteArray data = media_files::int16Data({signal_makers::ramp(frames, -0.5F, 0.5F)});
        const QString path = in(QStringLiteral("voice.wav"));
        writeFile(path, media_files::wav(media_files::WavFormat::Int16, 1, rateHz, data));
        return path;
    }

    void load(const QString& path)
    {
        chooseInNextFileDialog(path);
        m_window->load({});
    }

    void save(const QString& path)
    {
        chooseInNextFileDialog(path);
        m_window->save({});
    }

    /// The window's until the test ends.
    [[nodiscard]] QSharedPointer<Settings> makeSettings() const
    {
        auto settings = QSharedPointer<Settings>::create(QString(), QString(), QString(),
                                                         in(QStringLiteral("Vela.ini")));
        m_window->setSettings(settings);
        return settings;
    }

    [[nodiscard]] static QString remembered(const Settings& settings)
    {
        return settings.value(QStringLiteral("vela/lastFileDir")).toString();
    }

    std::unique_ptr<Vela> m_window;

private slots:

    void initTestCase()
    {
        registerResources();
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    }

    void init()
    {
        FolderSuite::init();
        m_window = std::make_unique<Vela>();
        m_window->show();
    }

    void cleanup()
    {
        m_window.reset();
        FolderSuite::cleanup();
    }

    void anImportAddsATrackAndBringsItsRateToTheProject()
    {
        QCOMPARE(m_window->project()->sampleRate, 44100);
        load(wavFile(48000, 6000));
        const VelaProject& project = *m_window->project();
        QCOMPARE(project.tracks.size(), 1);
        QCOMPARE(project.tracks[0]->name, "voice");
        QCOMPARE(project.sampleRate, 48000);
        QVERIFY(project.tainted);
        QCOMPARE(project.viewStart, 0);
        QCOMPARE(project.viewEnd, 6000);
    }

    void anImportWithoutAProjectMakesOneAtItsRate()
    {
        m_window->setProject({});
        load(wavFile(48000, 6000));
        const ProjectHandle project = m_window->project();
        QVERIFY(project);
        QCOMPARE(project->sampleRate, 48000);
        QCOMPARE(project->tracks.size(), 1);
        QCOMPARE(project->tracks[0]->length(), 6000);
    }

    void whatCannotBeImportedLeavesTheProject()
    {
        writeFile(in(QStringLiteral("voice.wav")), "no sound at all");
        load(in(QStringLiteral("voice.wav")));
        QVERIFY(m_window->project()->tracks.isEmpty());
        QVERIFY(!m_window->project()->tainted);
    }

    void savingAddsTheExtensionUnlessItIsThereInAnyCase_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("written");
        QTest::newRow("a bare name") << "take"
                                     << "take.vela";
        QTest::newRow("with the extension") << "take.vela"
                                            << "take.vela";
        QTest::newRow("in capitals") << "TAKE.VELA"
                                     << "TAKE.VELA";
    }

    void savingAddsTheExtensionUnlessItIsThereInAnyCase()
    {
        QFETCH(QString, typed);
        QFETCH(QString, written);
        m_window->addTrack();
        save(in(typed));
        QCOMPARE(entries(), QStringList{written});
        QVERIFY(!m_window->project()->tainted);
    }

    void aFileThatTheExtensionLeadsToIsNotReplacedUnasked_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("there");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("replaced");
        QTest::newRow("no") << "take"
                            << "take.vela"
                            << "&No" << false;
        QTest::newRow("yes") << "take"
                             << "take.vela"
                             << "&Yes" << true;
        QTest::newRow("another extension") << "take.x"
                                           << "take.x.vela"
                                           << "&No" << false;
    }

    void aFileThatTheExtensionLeadsToIsNotReplacedUnasked()
    {
        QFETCH(QString, typed);
        QFETCH(QString, there);
        QFETCH(QString, answer);
        QFETCH(bool, replaced);
        writeFile(in(there), "a take");
        m_window->addTrack();
        QStringList seen;
        pressInNextBox(answer, &seen);
        acceptProposal(there);
        save(in(typed));
        QVERIFY2(seen.value(1).startsWith(there + " already exists."), qPrintable(seen.join(u'|')));
        QCOMPARE(entries(), QStringList{there});
        QCOMPARE(readFile(in(there)) != "a take", replaced);
        QCOMPARE(m_window->project()->tainted, !replaced);
    }

    void openingReplacesTheProjectWithTheFiles()
    {
        m_window->addTrack();
        m_window->addTrack();
        save(in(QStringLiteral("two.vela")));
        QVERIFY(m_window->clear());
        QVERIFY(m_window->project()->tracks.isEmpty());
        load(in(QStringLiteral("two.vela")));
        QCOMPARE(m_window->project()->tracks.size(), 2);
        QVERIFY(!m_window->project()->tainted);
    }

    void whatCannotBeOpenedLeavesAnEmptyProjectInPlaceOfTheOldOne_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("tainted");
        QTest::addColumn<QString>("warning");
        const QByteArray otherMagic("VELB\0\0\0\1\0", 9);
        const QByteArray otherVersion("VELA\0\0\0\2\0", 9);
        const QString magicLine = "Wrong MAGIC found in file while loading, skipping...";
        const QString versionLine = "Wrong VERSION found in file while loading, skipping...";
        QTest::newRow("magic, saved before") << otherMagic << false << magicLine;
        QTest::newRow("magic, discarded") << otherMagic << true << magicLine;
        QTest::newRow("version, saved before") << otherVersion << false << versionLine;
        QTest::newRow("version, discarded") << otherVersion << true << versionLine;
    }

    void whatCannotBeOpenedLeavesAnEmptyProjectInPlaceOfTheOldOne()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, tainted);
        QFETCH(QString, warning);
        writeFile(in(QStringLiteral("other.vela")), bytes);
        m_window->addTrack();
        const ProjectHandle before = m_window->project();
        before->sampleRate = 48000;
        before->tainted = tainted;
        QStringList seen;
        if (tainted)
            pressInNextBox(QStringLiteral("&Discard"), &seen);
        load(in(QStringLiteral("other.vela")));
        QCOMPARE(log().take(QtWarningMsg, warning), 1);
        QCOMPARE(seen.isEmpty(), !tainted);
        const ProjectHandle after = m_window->project();
        QVERIFY(after != before);
        QVERIFY(after->tracks.isEmpty());
        QVERIFY(!after->tainted);
        QCOMPARE(after->sampleRate, 44100);
        QCOMPARE(before->tracks.size(), 1);
    }

    void openingAsksBeforeItDiscardsAndCancelLoadsNothing()
    {
        m_window->addTrack();
        save(in(QStringLiteral("one.vela")));
        m_window->addTrack();
        const ProjectHandle before = m_window->project();
        QStringList seen;
        pressInNextBox(QStringLiteral("&Cancel"), &seen);
        load(in(QStringLiteral("one.vela")));
        QCOMPARE(seen.value(0), "Unsaved Changes");
        QCOMPARE(m_window->project(), before);
        QCOMPARE(before->tracks.size(), 2);
        QVERIFY(before->tainted);
    }

    void theDialogsHaveTheirTitlesAndFilters()
    {
        QStringList seen;
        const auto lookAtNext = [&seen] {
            QTimer::singleShot(0, qApp, [&seen] {
                auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                QVERIFY(dialog);
                seen = dialog->nameFilters();
                seen.prepend(dialog->windowTitle());
                dialog->reject();
            });
        };
        lookAtNext();
        m_window->load({});
        QCOMPARE(seen,
                 (QStringList{"Open File",
                              "All Audio Files (*.wav *.mp3 *.ogg *.flac *.aac *.m4a *.wma *.opus)",
                              "WAV (*.wav)", "MP3 (*.mp3)", "OGG Vorbis (*.ogg)", "FLAC (*.flac)",
                              "AAC (*.aac *.m4a)", "WMA (*.wma)", "Opus (*.opus)",
                              "VELA Projects (*.vela)", "All Files (*.*)"}));
        lookAtNext();
        m_window->save({});
        QCOMPARE(seen, (QStringList{"Save Project", "VELA Projects (*.vela)"}));
    }

    void aCancelledDialogChangesNothing()
    {
        m_window->addTrack();
        const ProjectHandle before = m_window->project();
        load({});
        save({});
        QCOMPARE(m_window->project(), before);
        QVERIFY(before->tainted);
        QCOMPARE(entries(), QStringList());
    }

    void closingWaitsForTheFileThatIsWorkedOn()
    {
        m_window->addTrack();
        bool closedAtOnce = true;
        const auto* work = m_window->findChild<FileWork*>();
        connect(work, &FileWork::started, this,
                [&] { QTimer::singleShot(0, this, [&] { closedAtOnce = m_window->close(); }); });
        save(in(QStringLiteral("take.vela")));
        QVERIFY(!closedAtOnce);
        QCOMPARE(entries(), QStringList{"take.vela"});
        QTRY_VERIFY(!m_window->isVisible());
    }

    void theFileLastChosenIsRememberedByItsFullPath()
    {
        const auto settings = makeSettings();
        m_window->addTrack();
        load({});
        QCOMPARE(remembered(*settings), QString());
        save(in(QStringLiteral("take.vela")));
        QCOMPARE(remembered(*settings), in(QStringLiteral("take.vela")));
        load(wavFile(48000, 6000));
        QCOMPARE(remembered(*settings), in(QStringLiteral("voice.wav")));
        load({});
        save({});
        QCOMPARE(remembered(*settings), in(QStringLiteral("voice.wav")));
        save(in(QStringLiteral("mix"))); // which is saved with the extension
        QCOMPARE(remembered(*settings), in(QStringLiteral("mix.vela")));
    }

    void aFileToOpenIsRememberedBeforeTheQuestionIsAnsweredAndKeptAfterCancel()
    {
        const auto settings = makeSettings();
        writeFile(in(QStringLiteral("take.vela")), "a take");
        m_window->addTrack();
        QString rememberedThen;
        QTimer look;
        connect(&look, &QTimer::timeout, this, [&] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            look.stop();
            rememberedThen = remembered(*settings);
            box->escapeButton()->click();
        });
        look.start(1);
        load(in(QStringLiteral("take.vela")));
        QCOMPARE(rememberedThen, in(QStringLiteral("take.vela")));
        QCOMPARE(remembered(*settings), in(QStringLiteral("take.vela")));
        QVERIFY(m_window->project()->tainted);
    }

    void aSuggestedNameIsProposedWhereTheLastFileWas()
    {
        const auto settings = makeSettings();
        settings->setCustomValue(QStringLiteral("vela/lastFileDir"),
                                 in(QStringLiteral("take.vela")));
        m_window->addTrack();
        for (const auto ask : {&Vela::load, &Vela::save}) {
            QString shown;
            QString proposal;
            QTimer::singleShot(0, qApp, [&] {
                auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
                QVERIFY(dialog);
                shown = dialog->directory().absolutePath();
                proposal = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->text();
                dialog->reject();
            });
            (m_window.get()->*ask)(QStringLiteral("mix.vela"));
            QCOMPARE(shown, folder());
            QCOMPARE(proposal, "mix.vela");
        }
    }

    void theNextDialogBeginsWhereTheLastFileWas()
    {
        const auto settings = makeSettings();
        QVERIFY(QDir(folder()).mkdir(QStringLiteral("songs")));
        m_window->addTrack();
        save(in(QStringLiteral("songs/take.vela")));
        QString shown;
        chooseInNextFileDialog({}, &shown);
        m_window->load({});
        QCOMPARE(shown, in(QStringLiteral("songs")));
    }

    void whenTheDiskDoesNotAnswerTheUserCanStopTheSaveAndIsAskedBeforeTheEnd()
    {
        const auto settings =
            QSharedPointer<Settings>::create(QString(), QString(), QString(), in("Vela.ini"));
        m_window->setSettings(settings);
        QVERIFY(QDir(folder()).mkdir("songs"));
        m_window->addTrack();
        QTimer poll;
        connect(&poll, &QTimer::timeout, this, [&] {
            if (stalling::waiting() == 0)
                return;
            poll.stop();
            m_window->close();
            m_window->findChild<QPushButton*>("pushButtonActivity")->click();
        });
        poll.start(1);
        QStringList seen;
        pressInNextBox("&Cancel", &seen);
        stalling::begin(stalling::Call::Sync, in("songs"), std::chrono::seconds(20));
        save(in("songs/take.vela"));
        QCOMPARE(log().takeContaining(QtWarningMsg, "the disk does not answer"), 1);
        QTRY_VERIFY(!seen.isEmpty());
        QCOMPARE(seen[0], "Unsaved Changes");
        QVERIFY(m_window->isVisible());

        QString shown;
        chooseInNextFileDialog({}, &shown);
        m_window->save({});
        QVERIFY(shown != in("songs"));
        save(in("elsewhere.vela"));
        QVERIFY(!m_window->project()->tainted);
        stalling::release();
        QTRY_COMPARE(stalling::threadsNamed("project-file"), 0);
        QVERIFY(!QFile::exists(in("songs/take.vela")));
    }
};

int main(int argc, char** argv)
{
    // Files are decoded without ever asking for a sound device.
    const HangingServer server;
    prepareMediaPlatform();
    const QApplication application(argc, argv);
    TestVelaFiles suite;
    return QTest::qExec(&suite, argc, argv);
}

#include "tst_velafiles.moc"
