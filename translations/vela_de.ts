<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>ActivityStrip</name>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>Click to close this message</source>
        <translation>Anklicken, um diese Meldung zu schließen</translation>
    </message>
    <message>
        <source>Close</source>
        <translation>Schließen</translation>
    </message>
    <message>
        <source>Close this message</source>
        <translation>Diese Meldung schließen</translation>
    </message>
</context>
<context>
    <name>AudioImporter</name>
    <message>
        <source>File does not exist: %1</source>
        <translation>Die Datei gibt es nicht: %1</translation>
    </message>
    <message>
        <source>Cannot read %1: %2</source>
        <translation>%1 lässt sich nicht lesen: %2</translation>
    </message>
    <message>
        <source>Failed to decode: %1</source>
        <translation>Lässt sich nicht dekodieren: %1</translation>
    </message>
    <message>
        <source>%1 does not fit into memory</source>
        <translation>%1 passt nicht in den Arbeitsspeicher</translation>
    </message>
</context>
<context>
    <name>DeflateDevice</name>
    <message>
        <source>the samples could not be compressed</source>
        <translation>die Audiodaten ließen sich nicht komprimieren</translation>
    </message>
</context>
<context>
    <name>FileWork</name>
    <message>
        <source>Opening %1…</source>
        <translation>%1 wird geöffnet …</translation>
    </message>
    <message>
        <source>Loading %1…</source>
        <translation>%1 wird geladen …</translation>
    </message>
    <message>
        <source>Saving %1…</source>
        <translation>%1 wird gespeichert …</translation>
    </message>
    <message>
        <source>Stop and leave everything as it was</source>
        <translation>Anhalten und alles lassen, wie es war</translation>
    </message>
    <message>
        <source>Stop loading</source>
        <translation>Laden abbrechen</translation>
    </message>
    <message>
        <source>Stop saving</source>
        <translation>Speichern abbrechen</translation>
    </message>
</context>
<context>
    <name>PopOut</name>
    <message>
        <source>Popped out — double-click to restore</source>
        <translation>In eigenem Fenster – Doppelklick holt die Anzeige zurück</translation>
    </message>
</context>
<context>
    <name>ProjectFile</name>
    <message>
        <source>a track is longer than a project file can hold</source>
        <translation>eine Spur ist länger, als eine Projektdatei sie fassen kann</translation>
    </message>
    <message>
        <source>there is not enough memory left</source>
        <translation>es ist nicht genug Arbeitsspeicher frei</translation>
    </message>
    <message>
        <source>the project is larger than a project file can be</source>
        <translation>das Projekt ist größer, als eine Projektdatei sein kann</translation>
    </message>
    <message>
        <source>this is not a Vela project</source>
        <translation>dies ist kein Vela-Projekt</translation>
    </message>
    <message>
        <source>this project was made by another version</source>
        <translation>dieses Projekt stammt von einer anderen Programmversion</translation>
    </message>
    <message>
        <source>the project does not fit into memory</source>
        <translation>das Projekt passt nicht in den Arbeitsspeicher</translation>
    </message>
    <message>
        <source>the file is damaged</source>
        <translation>die Datei ist beschädigt</translation>
    </message>
    <message>
        <source>this is not a file</source>
        <translation>dies ist keine Datei</translation>
    </message>
</context>
<context>
    <name>ProjectFileJob</name>
    <message>
        <source>Could not save %1: %2.</source>
        <translation>%1 konnte nicht gespeichert werden: %2.</translation>
    </message>
    <message>
        <source>Could not load %1: %2.</source>
        <translation>%1 konnte nicht geladen werden: %2.</translation>
    </message>
    <message>
        <source>%1 is saved, but might not survive a power cut: %2.</source>
        <translation>%1 ist gespeichert, übersteht aber womöglich keinen Stromausfall: %2.</translation>
    </message>
    <message>
        <source>%1 is loaded, but with losses: %2.</source>
        <translation>%1 ist geladen, aber mit Verlusten: %2.</translation>
    </message>
    <message>
        <source>%1 was not saved.</source>
        <translation>%1 wurde nicht gespeichert.</translation>
    </message>
    <message>
        <source>%1 was not saved: the disk does not answer. Save the project somewhere else.</source>
        <translation>%1 wurde nicht gespeichert: Der Datenträger antwortet nicht. Speichern Sie das Projekt an einem anderen Ort.</translation>
    </message>
</context>
<context>
    <name>Refusals</name>
    <message>
        <source>No audio device here takes the project&apos;s sample rate, %1 Hz.</source>
        <translation>Kein Audiogerät hier nimmt die Abtastrate des Projekts an, %1 Hz.</translation>
    </message>
    <message>
        <source>No audio output was found. Connect or switch one on, then press Play again.</source>
        <translation>Es wurde kein Audioausgang gefunden. Bitte einen anschließen oder einschalten und dann erneut die Wiedergabe starten.</translation>
    </message>
    <message>
        <source>No audio input was found. Connect a microphone, then press Record again.</source>
        <translation>Es wurde kein Audioeingang gefunden. Bitte ein Mikrofon anschließen und dann erneut die Aufnahme starten.</translation>
    </message>
    <message>
        <source>No audio output was found, and recording needs one, too. Connect or switch one on, then press Record again.</source>
        <translation>Es wurde kein Audioausgang gefunden, den auch die Aufnahme braucht. Bitte einen anschließen oder einschalten und dann erneut die Aufnahme starten.</translation>
    </message>
    <message>
        <source>%1 is longer than a project file can hold. It can be played, but no project with it can be saved.</source>
        <translation>%1 ist länger, als eine Projektdatei aufnehmen kann. Wiedergeben lässt sich die Datei, aber kein Projekt mit ihr speichern.</translation>
    </message>
</context>
<context>
    <name>ShortcutCatalogue</name>
    <message>
        <source>Keyboard Help</source>
        <translation>Tastaturhilfe</translation>
    </message>
    <message>
        <source>Show keyboard shortcuts dialog</source>
        <translation>Fenster mit den Tastenkürzeln zeigen</translation>
    </message>
    <message>
        <source>Play / Stop</source>
        <translation>Wiedergabe / Stopp</translation>
    </message>
    <message>
        <source>Toggle playback (Shift = loop)</source>
        <translation>Wiedergabe ein/aus (Umschalt = Schleife)</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Stop playback</source>
        <translation>Wiedergabe anhalten</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>Toggle recording</source>
        <translation>Aufnahme ein/aus</translation>
    </message>
    <message>
        <source>Go to Start</source>
        <translation>Zum Anfang</translation>
    </message>
    <message>
        <source>Move cursor to project start</source>
        <translation>Cursor an den Anfang des Projekts setzen</translation>
    </message>
    <message>
        <source>Go to End</source>
        <translation>Zum Ende</translation>
    </message>
    <message>
        <source>Move cursor to project end</source>
        <translation>Cursor an das Ende des Projekts setzen</translation>
    </message>
    <message>
        <source>Open</source>
        <translation>Öffnen</translation>
    </message>
    <message>
        <source>Open a project file</source>
        <translation>Eine Projektdatei öffnen</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Save the project file</source>
        <translation>Die Projektdatei speichern</translation>
    </message>
    <message>
        <source>New</source>
        <translation>Neu</translation>
    </message>
    <message>
        <source>Clear / new project</source>
        <translation>Leeren / neues Projekt</translation>
    </message>
    <message>
        <source>Fullscreen</source>
        <translation>Vollbild</translation>
    </message>
    <message>
        <source>Toggle fullscreen mode</source>
        <translation>Vollbild ein/aus</translation>
    </message>
    <message>
        <source>Zoom In</source>
        <translation>Vergrößern</translation>
    </message>
    <message>
        <source>Zoom in on waveform</source>
        <translation>In die Wellenform hineinzoomen</translation>
    </message>
    <message>
        <source>Zoom Out</source>
        <translation>Verkleinern</translation>
    </message>
    <message>
        <source>Zoom out on waveform</source>
        <translation>Aus der Wellenform herauszoomen</translation>
    </message>
    <message>
        <source>Zoom to Fit</source>
        <translation>Alles zeigen</translation>
    </message>
    <message>
        <source>Fit all tracks in view</source>
        <translation>Alle Spuren in die Ansicht einpassen</translation>
    </message>
    <message>
        <source>Zoom to Selection</source>
        <translation>Auswahl zeigen</translation>
    </message>
    <message>
        <source>Zoom to selected region</source>
        <translation>Auf den ausgewählten Bereich zoomen</translation>
    </message>
    <message>
        <source>Add Track</source>
        <translation>Spur hinzufügen</translation>
    </message>
    <message>
        <source>Add a new track</source>
        <translation>Eine neue Spur hinzufügen</translation>
    </message>
    <message>
        <source>Remove Track</source>
        <translation>Spur entfernen</translation>
    </message>
    <message>
        <source>Remove selected track</source>
        <translation>Die ausgewählte Spur entfernen</translation>
    </message>
    <message>
        <source>Toggle Mute</source>
        <translation>Stumm ein/aus</translation>
    </message>
    <message>
        <source>Mute/unmute selected track</source>
        <translation>Ausgewählte Spur stumm/hörbar schalten</translation>
    </message>
    <message>
        <source>Toggle Solo</source>
        <translation>Solo ein/aus</translation>
    </message>
    <message>
        <source>Solo/unsolo selected track</source>
        <translation>Ausgewählte Spur solo/nicht solo schalten</translation>
    </message>
    <message>
        <source>Rename Track</source>
        <translation>Spur umbenennen</translation>
    </message>
    <message>
        <source>Rename selected track</source>
        <translation>Die ausgewählte Spur umbenennen</translation>
    </message>
    <message>
        <source>Select All</source>
        <translation>Alles auswählen</translation>
    </message>
    <message>
        <source>Select all audio in track</source>
        <translation>Alles in der Spur auswählen</translation>
    </message>
    <message>
        <source>Delete Selection</source>
        <translation>Auswahl löschen</translation>
    </message>
    <message>
        <source>Delete selected audio region</source>
        <translation>Den ausgewählten Bereich löschen</translation>
    </message>
    <message>
        <source>Copy</source>
        <translation>Kopieren</translation>
    </message>
    <message>
        <source>Copy selection to clipboard</source>
        <translation>Auswahl in die Zwischenablage kopieren</translation>
    </message>
    <message>
        <source>Cut</source>
        <translation>Ausschneiden</translation>
    </message>
    <message>
        <source>Cut selection to clipboard</source>
        <translation>Auswahl in die Zwischenablage ausschneiden</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einfügen</translation>
    </message>
    <message>
        <source>Paste from clipboard</source>
        <translation>Aus der Zwischenablage einfügen</translation>
    </message>
</context>
<context>
    <name>ShortcutHelpWidget</name>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Filter</source>
        <translation>Filter</translation>
    </message>
</context>
<context>
    <name>ShortcutModel</name>
    <message>
        <source>Name</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Details</source>
        <translation>Beschreibung</translation>
    </message>
    <message>
        <source>Context</source>
        <translation>Kontext</translation>
    </message>
    <message>
        <source>Shortcut</source>
        <translation>Taste</translation>
    </message>
    <message>
        <source>%1 (hold)</source>
        <translation>%1 (halten)</translation>
    </message>
</context>
<context>
    <name>StereoSeparationWidget</name>
    <message>
        <source>Stereo separation</source>
        <translation>Stereoaufteilung (Mitte/Seite)</translation>
    </message>
</context>
<context>
    <name>TrackHeaderWidget</name>
    <message>
        <source>Double-click, or press Return on the name, to rename the track</source>
        <translation>Doppelklick oder die Eingabetaste auf dem Namen benennt die Spur um</translation>
    </message>
    <message>
        <source>M</source>
        <translation>M</translation>
    </message>
    <message>
        <source>Mute</source>
        <translation>Stumm</translation>
    </message>
    <message>
        <source>S</source>
        <translation>S</translation>
    </message>
    <message>
        <source>Solo</source>
        <translation>Solo</translation>
    </message>
    <message>
        <source>Press Return to rename the track</source>
        <translation>Die Eingabetaste benennt die Spur um</translation>
    </message>
    <message>
        <source>Track name</source>
        <translation>Name der Spur</translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation>%1 stumm schalten</translation>
    </message>
    <message>
        <source>Solo %1</source>
        <translation>%1 solo schalten</translation>
    </message>
</context>
<context>
    <name>TrackStack</name>
    <message>
        <source>Open an audio file (Ctrl+O), press Record, or add an empty track (Ctrl+T) to begin.</source>
        <translation>Zum Anfangen eine Audiodatei öffnen (Strg+O), die Aufnahme starten oder eine leere Spur hinzufügen (Strg+T).</translation>
    </message>
</context>
<context>
    <name>TrackWidget</name>
    <message>
        <source>Left and Right move the cursor, plus and minus zoom, the Menu key offers more</source>
        <translation>Die Tasten Links und Rechts bewegen den Cursor, Plus und Minus zoomen, die Menütaste bietet mehr</translation>
    </message>
    <message>
        <source>Zoom In</source>
        <translation>Vergrößern</translation>
    </message>
    <message>
        <source>Zoom Out</source>
        <translation>Verkleinern</translation>
    </message>
    <message>
        <source>Higher Strip</source>
        <translation>Streifen höher</translation>
    </message>
    <message>
        <source>Lower Strip</source>
        <translation>Streifen niedriger</translation>
    </message>
    <message>
        <source>Remove Track</source>
        <translation>Spur entfernen</translation>
    </message>
</context>
<context>
    <name>UnifiedAudioScope</name>
    <message>
        <source>Wave</source>
        <translation>Welle</translation>
    </message>
    <message>
        <source>Waveform</source>
        <translation>Wellenform</translation>
    </message>
    <message>
        <source>Scrolling oscilloscope showing signal amplitude over time</source>
        <translation>Laufendes Oszilloskop: der Pegelverlauf des Signals über der Zeit</translation>
    </message>
    <message>
        <source>Spectrum</source>
        <translation>Spektrum</translation>
    </message>
    <message>
        <source>Scrolling spectrogram showing frequency content over time</source>
        <translation>Laufendes Spektrogramm: die Frequenzanteile über der Zeit</translation>
    </message>
    <message>
        <source>Level</source>
        <translation>Pegel</translation>
    </message>
    <message>
        <source>VU meter showing RMS and peak signal level</source>
        <translation>Pegelmesser: Effektiv- und Spitzenpegel des Signals</translation>
    </message>
    <message>
        <source>Audio scope</source>
        <translation>Signalanzeige</translation>
    </message>
    <message>
        <source>Double-click or Return: a window of its own, and back. Right-click: what is shown.</source>
        <translation>Doppelklick oder Eingabetaste: eigenes Fenster und zurück. Rechtsklick: was gezeigt wird.</translation>
    </message>
    <message>
        <source>Ch %1</source>
        <translation>Kanal %1</translation>
    </message>
    <message>
        <source>Audio Scope</source>
        <translation>Signalanzeige</translation>
    </message>
</context>
<context>
    <name>Vela</name>
    <message>
        <source>VELA Projects (*</source>
        <translation>VELA-Projekte (*</translation>
    </message>
    <message>
        <source>All Audio Files (*.wav *.mp3 *.ogg *.flac *.aac *.m4a *.wma *.opus);;WAV (*.wav);;MP3 (*.mp3);;OGG Vorbis (*.ogg);;FLAC (*.flac);;AAC (*.aac *.m4a);;WMA (*.wma);;Opus (*.opus);;</source>
        <translation>Alle Audiodateien (*.wav *.mp3 *.ogg *.flac *.aac *.m4a *.wma *.opus);;WAV (*.wav);;MP3 (*.mp3);;OGG Vorbis (*.ogg);;FLAC (*.flac);;AAC (*.aac *.m4a);;WMA (*.wma);;Opus (*.opus);;</translation>
    </message>
    <message>
        <source>;;All Files (*.*)</source>
        <translation>;;Alle Dateien (*.*)</translation>
    </message>
    <message>
        <source>Open File</source>
        <translation>Datei öffnen</translation>
    </message>
    <message>
        <source>Save Project</source>
        <translation>Projekt speichern</translation>
    </message>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation>Tastenkürzel</translation>
    </message>
    <message>
        <source>Unsaved Changes</source>
        <translation>Nicht gespeicherte Änderungen</translation>
    </message>
    <message>
        <source>The project has unsaved changes. Discard them?</source>
        <translation>Das Projekt hat Änderungen, die noch nicht gespeichert sind. Sollen sie verworfen werden?</translation>
    </message>
    <message>
        <source>&amp;Discard</source>
        <translation>&amp;Verwerfen</translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation>&amp;Abbrechen</translation>
    </message>
    <message>
        <source>Vela Audio Editor</source>
        <translation>Vela Audio-Editor</translation>
    </message>
    <message>
        <source>Load</source>
        <translation>Laden</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>Speichern</translation>
    </message>
    <message>
        <source>Clear</source>
        <translation>Leeren</translation>
    </message>
    <message>
        <source>|&lt;</source>
        <translation>|&lt;</translation>
    </message>
    <message>
        <source>Play</source>
        <translation>Wiedergabe</translation>
    </message>
    <message>
        <source>Stop</source>
        <translation>Stopp</translation>
    </message>
    <message>
        <source>Rec</source>
        <translation>Aufnahme</translation>
    </message>
    <message>
        <source>&gt;|</source>
        <translation>&gt;|</translation>
    </message>
    <message>
        <source>Position</source>
        <translation>Position</translation>
    </message>
    <message>
        <source>Help</source>
        <translation>Hilfe</translation>
    </message>
    <message>
        <source>Open project</source>
        <translation>Projekt öffnen</translation>
    </message>
    <message>
        <source>Save project</source>
        <translation>Projekt speichern</translation>
    </message>
    <message>
        <source>New project</source>
        <translation>Neues Projekt</translation>
    </message>
    <message>
        <source>Go to start</source>
        <translation>Zum Anfang</translation>
    </message>
    <message>
        <source>Play / Stop (Space, Shift+Space = loop)</source>
        <translation>Wiedergabe / Stopp (Leertaste, Umschalt+Leertaste = Schleife)</translation>
    </message>
    <message>
        <source>Record</source>
        <translation>Aufnehmen</translation>
    </message>
    <message>
        <source>Go to end</source>
        <translation>Zum Ende</translation>
    </message>
    <message>
        <source>Keyboard shortcuts (F1)</source>
        <translation>Tastenkürzel (F1)</translation>
    </message>
    <message>
        <source>The audio input was lost. What it gave until then is in the take. Connect a microphone, then press Record again.</source>
        <translation>Der Audioeingang ist verloren gegangen. Was er bis dahin geliefert hat, ist in der Aufnahme. Bitte ein Mikrofon anschließen und dann erneut die Aufnahme starten.</translation>
    </message>
    <message>
        <source>There is no memory left to record into. What was captured until then is in the take. Save the project.</source>
        <translation>Für die Aufnahme ist kein Speicher mehr frei. Was bis dahin aufgenommen wurde, ist in der Aufnahme. Bitte das Projekt speichern.</translation>
    </message>
    <message>
        <source>The audio output was lost. Connect or switch one on, then press Play again.</source>
        <translation>Der Audioausgang ist verloren gegangen. Bitte einen anschließen oder einschalten und dann erneut die Wiedergabe starten.</translation>
    </message>
    <message>
        <source>The session was to end while a file was being saved. It goes on; end it again.</source>
        <translation>Die Sitzung sollte enden, während eine Datei gespeichert wurde. Sie läuft weiter; beenden Sie sie noch einmal.</translation>
    </message>
</context>
<context>
    <name>VelaEngine</name>
    <message>
        <source>Recording</source>
        <translation>Aufnahme</translation>
    </message>
</context>
<context>
    <name>VelaProject</name>
    <message>
        <source>Track %1</source>
        <translation>Spur %1</translation>
    </message>
</context>
<context>
    <name>WaveformView</name>
    <message>
        <source>Waveform of %1</source>
        <translation>Wellenform von %1</translation>
    </message>
</context>
</TS>
