#pragma once

class ActivityStrip;
class IconButton;
class QHBoxLayout;
class QLabel;
class QVBoxLayout;
class QWidget;
class StereoSeparationWidget;
class TrackStack;
class UnifiedAudioScope;

/// The widgets of the main window, named and laid out; what they do is the
/// window's business. The window owns them all.
struct VelaLayout {
    /// Builds everything inside `window`, which must be empty. Called once.
    void build(QWidget* window);

    IconButton* load = nullptr;
    IconButton* save = nullptr;
    IconButton* clear = nullptr;
    IconButton* goStart = nullptr;
    IconButton* playStop = nullptr;
    IconButton* stop = nullptr;
    IconButton* record = nullptr;
    IconButton* goEnd = nullptr;
    IconButton* help = nullptr;
    QLabel* position = nullptr;
    ActivityStrip* activity = nullptr;
    UnifiedAudioScope* scope = nullptr;
    StereoSeparationWidget* stereo = nullptr;
    TrackStack* tracks = nullptr;

private:
    QVBoxLayout* verticalLayout = nullptr;
    QHBoxLayout* toolbarLayout = nullptr;

    void buildToolbar(QWidget* parent);
    void buildTransport();
    void buildScopes(QWidget* parent);
    void finishButtons();
};
