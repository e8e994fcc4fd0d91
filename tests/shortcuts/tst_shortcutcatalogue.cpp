#include "shortcuts/shortcutcatalogue.h"
#include "shortcuts/shortcutregistry.h"

#include <QTest>

class TestShortcutCatalogue : public QObject {
    Q_OBJECT

private:
    static ShortcutRegistry filled()
    {
        ShortcutRegistry registry;
        fillShortcutRegistry(registry);
        return registry;
    }

    template <typename Entry>
    static Entry named(const QString& id)
    {
        Entry entry;
        entry.id = id;
        return entry;
    }

private slots:

    void aFreshRegistryIsEmpty()
    {
        const ShortcutRegistry registry;
        QVERIFY(registry.entries().isEmpty());
        QVERIFY(registry.holdEntries().isEmpty());
    }

    void registeringAppendsInOrder()
    {
        ShortcutRegistry registry;
        registry.registerShortcuts({named<ShortcutEntry>("a"), named<ShortcutEntry>("b")});
        registry.registerShortcuts({named<ShortcutEntry>("a")});
        registry.registerHolds({named<HoldEntry>("h")});
        registry.registerHolds({named<HoldEntry>("g")});
        QStringList ids;
        for (const ShortcutEntry& entry : registry.entries())
            ids << entry.id;
        QCOMPARE(ids, (QStringList{"a", "b", "a"}));
        QCOMPARE(registry.holdEntries().size(), 2);
        QCOMPARE(registry.holdEntries()[0].id, "h");
        QCOMPARE(registry.holdEntries()[1].id, "g");
    }

    void theCatalogueHasItsEntriesToTheLetterAndInOrder()
    {
        // clang-format off
        const QStringList expected{
            "vela.help\tglobal\tKeyboard Help\tShow keyboard shortcuts dialog\tF1",
            "vela.play_stop\tglobal\tPlay / Stop\tToggle playback (Shift = loop)\tSpace",
            "vela.stop\tglobal\tStop\tStop playback\tEsc",
            "vela.record\tglobal\tRecord\tToggle recording\tR",
            "vela.go_start\tglobal\tGo to Start\tMove cursor to project start\tHome",
            "vela.go_end\tglobal\tGo to End\tMove cursor to project end\tEnd",
            "vela.open\tglobal\tOpen\tOpen a project file\tCtrl+O",
            "vela.save\tglobal\tSave\tSave the project file\tCtrl+S",
            "vela.new\tglobal\tNew\tClear / new project\tCtrl+N",
            "vela.fullscreen\tglobal\tFullscreen\tToggle fullscreen mode\tF11",
            "vela.zoom_in\tglobal\tZoom In\tZoom in on waveform\tCtrl++",
            "vela.zoom_out\tglobal\tZoom Out\tZoom out on waveform\tCtrl+-",
            "vela.zoom_fit\tglobal\tZoom to Fit\tFit all tracks in view\tCtrl+0",
            "vela.zoom_sel\tglobal\tZoom to Selection\tZoom to selected region\tCtrl+E",
            "track.add\ttrack_editor\tAdd Track\tAdd a new track\tCtrl+T",
            "track.remove\ttrack_editor\tRemove Track\tRemove selected track\tCtrl+Shift+T",
            "track.mute\ttrack_editor\tToggle Mute\tMute/unmute selected track\tM",
            "track.solo\ttrack_editor\tToggle Solo\tSolo/unsolo selected track\tS",
            "track.rename\ttrack_editor\tRename Track\tRename selected track\tF2",
            "track.select_all\ttrack_editor\tSelect All\tSelect all audio in track\tCtrl+A",
            "track.delete_sel\ttrack_editor\tDelete Selection\tDelete selected audio region\tDel",
            "track.copy\ttrack_editor\tCopy\tCopy selection to clipboard\tCtrl+C",
            "track.cut\ttrack_editor\tCut\tCut selection to clipboard\tCtrl+X",
            "track.paste\ttrack_editor\tPaste\tPaste from clipboard\tCtrl+V",
        };
        // clang-format on
        QStringList actual;
        const ShortcutRegistry registry = filled();
        for (const ShortcutEntry& entry : registry.entries()) {
            const QStringList fields{entry.id, entry.context, entry.name, entry.description,
                                     entry.key.toString(QKeySequence::PortableText)};
            actual << fields.join('\t');
        }
        QCOMPARE(actual, expected);
    }

    void everyKeyIsOneCombinationAndNoTwoAreAlike()
    {
        QList<QKeySequence> keys;
        const ShortcutRegistry registry = filled();
        for (const ShortcutEntry& entry : registry.entries()) {
            QCOMPARE(entry.key.count(), 1);
            QVERIFY(!keys.contains(entry.key));
            keys << entry.key;
        }
        QCOMPARE(keys.size(), 24);
    }

    void noHoldsAreDefined() { QVERIFY(filled().holdEntries().isEmpty()); }
};

QTEST_APPLESS_MAIN(TestShortcutCatalogue)
#include "tst_shortcutcatalogue.moc"
