#include "viewer/ControlBar.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>
#include <cmath>
#include <utility>

namespace ovelo {

namespace {

constexpr int kStepsPerSecond = 4; // of the delay
constexpr int kLongestDelay = 4;   // seconds
constexpr int kSlowest = 5;        // pictures a second
constexpr int kFastest = 20;
constexpr int kUsual = 14; // what servers begin with

QString describeDelay(int steps) {
    if (steps == 0) {
        return QStringLiteral("none");
    }
    return QStringLiteral("%1 s").arg(static_cast<double>(steps) / kStepsPerSecond, 0, 'f', 2);
}

QString describeRate(int rate) {
    return QStringLiteral("%1/s").arg(rate);
}

} // namespace

ControlBar::ControlBar(double delay, std::optional<double> frameRate, Actions actions,
                       QWidget* parent)
    : QWidget(parent)
    , actions_(std::move(actions))
    , sources_(new QComboBox(this)) {
    auto* grid = new QGridLayout(this);
    addSlider(
        QStringLiteral("&Delay"), 0, kLongestDelay * kStepsPerSecond,
        static_cast<int>(std::lround(std::min<double>(delay, kLongestDelay) * kStepsPerSecond)),
        &describeDelay,
        [this](int steps) { actions_.setDelay(static_cast<double>(steps) / kStepsPerSecond); }, 0);
    addSlider(
        QStringLiteral("&Rate"), kSlowest, kFastest,
        static_cast<int>(std::lround(frameRate.value_or(kUsual))), &describeRate,
        [this](int rate) { actions_.setFrameRate(rate); }, 1);

    auto* label = new QLabel(QStringLiteral("&Camera"), this);
    label->setBuddy(sources_);
    sources_->setEnabled(false);
    sources_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    sources_->setAccessibleName(QStringLiteral("Camera"));
    grid->addWidget(label, 2, 0);
    grid->addWidget(sources_, 2, 1, 1, 2);
    connect(sources_, &QComboBox::activated, this,
            [this](int index) { actions_.chooseSource(sources_->itemText(index).toStdString()); });
}

QSlider* ControlBar::addSlider(const QString& name, int lowest, int highest, int value,
                               const std::function<QString(int)>& describe,
                               const std::function<void(int)>& changed, int row) {
    auto* label = new QLabel(name, this);
    auto* slider = new QSlider(Qt::Horizontal, this);
    auto* text = new QLabel(describe(value), this);
    slider->setRange(lowest, highest);
    slider->setPageStep(std::max(1, (highest - lowest) / 4));
    slider->setValue(value);
    slider->setAccessibleName(QString(name).remove(QLatin1Char('&')));
    label->setBuddy(slider);
    // As wide as the longest text, so that the slider does not jump under the pointer.
    text->setMinimumWidth(text->fontMetrics().horizontalAdvance(QStringLiteral("00.00 s")));
    connect(slider, &QSlider::valueChanged, this, [text, describe, changed](int now) {
        text->setText(describe(now));
        changed(now);
    });
    auto* grid = static_cast<QGridLayout*>(layout());
    grid->addWidget(label, row, 0);
    grid->addWidget(slider, row, 1);
    grid->addWidget(text, row, 2);
    return slider;
}

void ControlBar::showSources(const DataSourceList& list) {
    const QSignalBlocker quiet(sources_);
    sources_->clear();
    for (const DataSource& source : list.video) {
        sources_->addItem(QString::fromStdString(source.name));
        if (source.selected) {
            sources_->setCurrentIndex(sources_->count() - 1);
        }
    }
    const bool none = std::none_of(list.video.begin(), list.video.end(),
                                   [](const DataSource& source) { return source.selected; });
    if (none) {
        sources_->setCurrentIndex(-1);
    }
    sources_->setEnabled(!list.video.empty());
}

} // namespace ovelo
