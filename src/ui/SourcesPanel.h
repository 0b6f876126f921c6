#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

#include <string>

class QComboBox;

namespace ovelo {

class LevelMeter;
class MyDocument;

/// The choosers of the video and the audio source, and the level of the sound.
///
/// thread  main
class SourcesPanel final : public QWidget, public sigc::trackable {
public:
    explicit SourcesPanel(MyDocument& document);

private:
    void build();
    void propertyChanged(const std::string& property);
    void refreshSoon();
    void refresh();
    void refreshVideo();
    void refreshAudio();
    void chooseVideo(int index);
    void chooseAudio(int index);

    MyDocument& document_;
    QComboBox* video_ = nullptr;
    QComboBox* audio_ = nullptr;
    LevelMeter* level_ = nullptr;
    bool refreshPending_ = false;
};

} // namespace ovelo
