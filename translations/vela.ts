<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1">
<context>
    <name>ActivityStrip</name>
    <message>
        <source>Cancel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Click to close this message</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Close</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Close this message</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>AudioImporter</name>
    <message>
        <source>File does not exist: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cannot read %1: %2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Failed to decode: %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 does not fit into memory</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>DeflateDevice</name>
    <message>
        <source>the samples could not be compressed</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>FileWork</name>
    <message>
        <source>Opening %1…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Loading %1…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Saving %1…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop and leave everything as it was</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop loading</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop saving</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>PopOut</name>
    <message>
        <source>Popped out — double-click to restore</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ProjectFile</name>
    <message>
        <source>a track is longer than a project file can hold</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>there is not enough memory left</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the project is larger than a project file can be</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>this is not a Vela project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>this project was made by another version</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the project does not fit into memory</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>the file is damaged</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>this is not a file</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ProjectFileJob</name>
    <message>
        <source>Could not save %1: %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Could not load %1: %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is saved, but might not survive a power cut: %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is loaded, but with losses: %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 was not saved.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 was not saved: the disk does not answer. Save the project somewhere else.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Refusals</name>
    <message>
        <source>No audio device here takes the project&apos;s sample rate, %1 Hz.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No audio output was found. Connect or switch one on, then press Play again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No audio input was found. Connect a microphone, then press Record again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>No audio output was found, and recording needs one, too. Connect or switch one on, then press Record again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 is longer than a project file can hold. It can be played, but no project with it can be saved.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ShortcutCatalogue</name>
    <message>
        <source>Keyboard Help</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show keyboard shortcuts dialog</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Play / Stop</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Toggle playback (Shift = loop)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop playback</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Record</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Toggle recording</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Go to Start</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Move cursor to project start</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Go to End</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Move cursor to project end</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open a project file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save the project file</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear / new project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Fullscreen</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Toggle fullscreen mode</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom In</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom in on waveform</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom Out</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom out on waveform</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom to Fit</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Fit all tracks in view</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom to Selection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom to selected region</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Add Track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Add a new track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove Track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove selected track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Toggle Mute</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mute/unmute selected track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Toggle Solo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Solo/unsolo selected track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rename Track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rename selected track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Select All</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Select all audio in track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Delete Selection</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Delete selected audio region</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Copy</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Copy selection to clipboard</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cut</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cut selection to clipboard</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Paste</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Paste from clipboard</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ShortcutHelpWidget</name>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Filter</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ShortcutModel</name>
    <message>
        <source>Name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Details</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Context</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Shortcut</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 (hold)</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>StereoSeparationWidget</name>
    <message>
        <source>Stereo separation</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TrackHeaderWidget</name>
    <message>
        <source>Double-click, or press Return on the name, to rename the track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>M</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mute</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>S</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Solo</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Press Return to rename the track</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Track name</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Mute %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Solo %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TrackStack</name>
    <message>
        <source>Open an audio file (Ctrl+O), press Record, or add an empty track (Ctrl+T) to begin.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>TrackWidget</name>
    <message>
        <source>Left and Right move the cursor, plus and minus zoom, the Menu key offers more</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom In</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Zoom Out</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Higher Strip</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Lower Strip</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Remove Track</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>UnifiedAudioScope</name>
    <message>
        <source>Wave</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Waveform</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Scrolling oscilloscope showing signal amplitude over time</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Spectrum</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Scrolling spectrogram showing frequency content over time</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Level</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>VU meter showing RMS and peak signal level</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Audio scope</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Double-click or Return: a window of its own, and back. Right-click: what is shown.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Ch %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Audio Scope</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Vela</name>
    <message>
        <source>VELA Projects (*</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>All Audio Files (*.wav *.mp3 *.ogg *.flac *.aac *.m4a *.wma *.opus);;WAV (*.wav);;MP3 (*.mp3);;OGG Vorbis (*.ogg);;FLAC (*.flac);;AAC (*.aac *.m4a);;WMA (*.wma);;Opus (*.opus);;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>;;All Files (*.*)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open File</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save Project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Keyboard Shortcuts</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Unsaved Changes</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The project has unsaved changes. Discard them?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Discard</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Cancel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Vela Audio Editor</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Load</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Clear</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>|&lt;</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Play</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Rec</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&gt;|</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Position</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Help</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Open project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Save project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>New project</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Go to start</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Play / Stop (Space, Shift+Space = loop)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Record</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Go to end</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Keyboard shortcuts (F1)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio input was lost. What it gave until then is in the take. Connect a microphone, then press Record again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The audio output was lost. Connect or switch one on, then press Play again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>There is no memory left to record into. What was captured until then is in the take. Save the project.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The session was to end while a file was being saved. It goes on; end it again.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VelaEngine</name>
    <message>
        <source>Recording</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>VelaProject</name>
    <message>
        <source>Track %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>WaveformView</name>
    <message>
        <source>Waveform of %1</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
