#include "ui/SourcesPanel.h"

#include "ui/DocumentFixture.h"
#include "ui/LevelMeter.h"

#include <QComboBox>

namespace ovelo {

class SourcesPanelTest : public DocumentFixture {
protected:
    SourcesPanelTest() {
        document_.sources().refreshDevices();
        settle();
    }

    static void choose(QComboBox& box, const char* name) {
        const int index = box.findText(QString::fromUtf8(name));
        ASSERT_GE(index, 0) << name;
        box.setCurrentIndex(index);
        Q_EMIT box.activated(index); // what a click or a key does
    }

    static QStringList items(const QComboBox& box) {
        QStringList texts;
        for (int index = 0; index < box.count(); ++index) {
            texts.append(box.itemText(index));
        }
        return texts;
    }

    SourcesPanel panel_{document_};
    QComboBox& video_ = child<QComboBox>(panel_, "videoSource");
    QComboBox& audio_ = child<QComboBox>(panel_, "audioSource");
};

TEST_F(SourcesPanelTest, OffersTheDocumentsListsWithNothingChosen) {
    EXPECT_EQ(items(video_).join(QLatin1Char('|')).toStdString(), "Front Camera|Back Camera");
    EXPECT_EQ(items(audio_).join(QLatin1Char('|')).toStdString(), "Desk Microphone|Line In");
    EXPECT_EQ(video_.currentIndex(), -1);
    EXPECT_EQ(audio_.currentIndex(), -1);
}

TEST_F(SourcesPanelTest, AChoiceGoesToTheDocument) {
    choose(video_, "Back Camera");
    choose(audio_, "Line In");

    EXPECT_EQ(document_.sources().selectedVideoDeviceName(), "Back Camera");
    EXPECT_EQ(document_.sources().selectedAudioDevice()->localizedDisplayName(), "Line In");
}

TEST_F(SourcesPanelTest, AChoiceOfAViewerIsShown) {
    document_.sources().resetDataSource("Back Camera|Line In");
    settle();

    EXPECT_EQ(video_.currentText().toStdString(), "Back Camera");
    EXPECT_EQ(audio_.currentText().toStdString(), "Line In");
}

TEST_F(SourcesPanelTest, AChoiceThatFailsLeavesNothingChosen) {
    const auto broken = devices_.add(MediaType::Video, "Broken Camera");
    broken->failure = Failure{"Permission denied"};
    document_.sources().refreshDevices();
    settle();

    choose(video_, "Broken Camera");
    settle();

    EXPECT_EQ(video_.currentIndex(), -1);
    EXPECT_TRUE(video_.isEnabled());
}

TEST_F(SourcesPanelTest, FollowsDevicesThatComeAndGo) {
    devices_.all.clear();
    devices_.add(MediaType::Sound, "Headset");
    document_.sources().refreshDevices();
    settle();

    EXPECT_EQ(video_.count(), 0);
    EXPECT_FALSE(video_.isEnabled());
    EXPECT_EQ(video_.placeholderText().toStdString(), "No camera found");
    EXPECT_EQ(items(audio_).join(QLatin1Char('|')).toStdString(), "Headset");
}

TEST_F(SourcesPanelTest, ACameraWithSoundOfItsOwnTakesTheMicrophonesPlace) {
    document_.sources().setSelectedVideoDevice(devices_.add(MediaType::Muxed, "Camcorder"));
    settle();

    EXPECT_FALSE(audio_.isEnabled());
    EXPECT_EQ(audio_.placeholderText().toStdString(), "The camera's own sound");
}

TEST_F(SourcesPanelTest, TheLevelMeterFollowsTheDocument) {
    document_.setAudioLevel(0.5F);

    EXPECT_EQ(child<QWidget>(panel_, "audioLevel").accessibleName().toStdString(), "Sound level");
    EXPECT_EQ(static_cast<LevelMeter&>(child<QWidget>(panel_, "audioLevel")).litLamps(),
              LevelMeter::kLamps / 2);
}

} // namespace ovelo
