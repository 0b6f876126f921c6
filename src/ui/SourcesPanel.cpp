#include "ui/SourcesPanel.h"

#include "app/MyDocument.h"
#include "ui/Layouts.h"
#include "ui/LevelMeter.h"
#include "ui/Text.h"

#include <QComboBox>
#include <QFormLayout>
#include <QSignalBlocker>
#include <QTimer>

#include <cstddef>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

/// Shows `names` with the one at `selected` (none: -1), and `placeholder` when none is selected.
void fill(QComboBox& box, const QStringList& names, int selected, const QString& placeholder) {
    const QSignalBlocker quiet(box);
    box.clear();
    box.addItems(names);
    box.setPlaceholderText(placeholder);
    box.setCurrentIndex(selected);
    box.setEnabled(!names.isEmpty());
}

QComboBox* chooser(const QString& objectName, const QString& accessibleName) {
    auto* box = new QComboBox;
    box->setObjectName(objectName);
    box->setAccessibleName(accessibleName);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setMinimumContentsLength(18);
    box->setEnabled(false);
    return box;
}

} // namespace

SourcesPanel::SourcesPanel(MyDocument& document) : document_(document) {
    build();
    // The start sequence reads the lists first, and its announcements fill the choosers.
    document_.propertyChanged().connect(sigc::mem_fun(*this, &SourcesPanel::propertyChanged));
}

void SourcesPanel::build() {
    video_ = chooser(u"videoSource"_s, u"Video source"_s);
    audio_ = chooser(u"audioSource"_s, u"Sound source"_s);
    level_ = new LevelMeter;
    connect(video_, &QComboBox::activated, this, &SourcesPanel::chooseVideo);
    connect(audio_, &QComboBox::activated, this, &SourcesPanel::chooseAudio);

    auto* form = layouts::form();
    form->addRow(u"V&ideo:"_s, video_);
    form->addRow(u"&Sound:"_s, audio_);
    form->addRow(u"Level:"_s, level_);
    setLayout(form);
}

void SourcesPanel::propertyChanged(const std::string& property) {
    if (property == "audioLevel") {
        level_->setLevel(document_.audioLevel());
    } else {
        refreshSoon();
    }
}

void SourcesPanel::refreshSoon() {
    // A refresh of the devices announces several properties, the first ones before the lists are
    // whole.
    if (!refreshPending_) {
        refreshPending_ = true;
        QTimer::singleShot(0, this, &SourcesPanel::refresh);
    }
}

void SourcesPanel::refresh() {
    refreshPending_ = false;
    refreshVideo();
    refreshAudio();
}

void SourcesPanel::refreshVideo() {
    const std::optional<std::string> chosen = document_.sources().selectedVideoDeviceName();
    QStringList names;
    int selected = -1;
    for (const std::string& name : document_.sources().videoDeviceNames()) {
        if (selected < 0 && name == chosen) {
            selected = static_cast<int>(names.size());
        }
        names.append(toQt(name));
    }
    fill(*video_, names, selected, names.isEmpty() ? u"No camera found"_s : u"No camera chosen"_s);
}

void SourcesPanel::refreshAudio() {
    if (document_.sources().selectedVideoDeviceProvidesAudio()) {
        fill(*audio_, {}, -1, u"The camera's own sound"_s);
        return;
    }
    const CaptureDevicePointer chosen = document_.sources().selectedAudioDevice();
    QStringList names;
    int selected = -1;
    for (const CaptureDevicePointer& device : document_.sources().audioDevices()) {
        if (device == chosen) {
            selected = static_cast<int>(names.size());
        }
        names.append(toQt(device->localizedDisplayName()));
    }
    fill(*audio_, names, selected,
         names.isEmpty() ? u"No microphone found"_s : u"No microphone chosen"_s);
}

void SourcesPanel::chooseVideo(int index) {
    const std::string name = fromQt(video_->itemText(index));
    if (name != document_.sources().selectedVideoDeviceName()) {
        document_.sources().setSelectedVideoDeviceName(name);
    }
    refreshSoon();
}

void SourcesPanel::chooseAudio(int index) {
    const auto& devices = document_.sources().audioDevices();
    const auto position = static_cast<std::size_t>(index);
    if (position < devices.size() &&
        devices[position] != document_.sources().selectedAudioDevice()) {
        // A copy: the choice may rebuild the list.
        const CaptureDevicePointer device = devices[position];
        document_.sources().setSelectedAudioDevice(device);
    }
    refreshSoon();
}

} // namespace ovelo
