#include "viewer/RecordingsPanel.h"

#include <QDateTime>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QTreeWidget>

#include <utility>

namespace ovelo {

namespace {

enum Column { Date, Name };

constexpr int kDateDigits = Qt::UserRole; // they sort as the dates do

/// In the user's own form; the digits as they came when they are no date.
QString dateText(const QString& digits) {
    const auto date = QDateTime::fromString(digits, QStringLiteral("yyyyMMddHHmmss"));
    return date.isValid() ? QLocale().toString(date, QLocale::ShortFormat) : digits;
}

/// Sorts by the date, not by its text.
class RecordingItem final : public QTreeWidgetItem {
public:
    explicit RecordingItem(const Recording& recording) {
        const auto digits = QString::fromStdString(recording.date);
        const auto name = QString::fromStdString(recording.name);
        setText(Date, dateText(digits));
        setData(Date, kDateDigits, digits);
        setText(Name, name);
        setToolTip(Name, name);
    }
    bool operator<(const QTreeWidgetItem& other) const override {
        const int column = treeWidget()->sortColumn();
        const int role = column == Date ? static_cast<int>(kDateDigits) : Qt::DisplayRole;
        return data(column, role).toString() < other.data(column, role).toString();
    }
};

} // namespace

RecordingsPanel::RecordingsPanel(Actions actions, QWidget* parent)
    : QWidget(parent)
    , actions_(std::move(actions))
    , list_(new QTreeWidget(this))
    , state_(new QLabel(this))
    , play_(new QPushButton(QStringLiteral("P&lay"), this))
    , live_(new QPushButton(QStringLiteral("&Back to live"), this))
    , refresh_(new QPushButton(QStringLiteral("Re&fresh"), this)) {
    build();
    connect(list_, &QTreeWidget::itemSelectionChanged, this, [this] { refreshButtons(); });
    connect(list_, &QTreeWidget::itemActivated, this, [this] { playChosen(); });
    connect(play_, &QPushButton::clicked, this, [this] { playChosen(); });
    connect(live_, &QPushButton::clicked, this, [this] { actions_.backToLive(); });
    connect(refresh_, &QPushButton::clicked, this, [this] { actions_.refresh(); });
    refresh();
}

void RecordingsPanel::build() {
    list_->setHeaderLabels({QStringLiteral("Date"), QStringLiteral("Name")});
    list_->header()->setSectionResizeMode(Date, QHeaderView::ResizeToContents);
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setAllColumnsShowFocus(true);
    list_->setSortingEnabled(true);
    list_->sortByColumn(Date, Qt::DescendingOrder);
    setFocusProxy(list_);
    list_->setAccessibleName(QStringLiteral("Recordings"));
    list_->setAccessibleDescription(QStringLiteral("The recordings of the server"));
    state_->setWordWrap(true);
    play_->setToolTip(QStringLiteral("Plays the chosen recording, for every viewer (Enter)"));
    live_->setToolTip(QStringLiteral("Ends the playback and shows the camera (Ctrl+B)"));
    refresh_->setToolTip(QStringLiteral("Asks the server for its recordings"));
    auto* grid = new QGridLayout(this);
    grid->addWidget(list_, 0, 0, 1, 3);
    grid->addWidget(state_, 1, 0, 1, 3);
    grid->addWidget(play_, 2, 0);
    grid->addWidget(live_, 2, 1);
    grid->addWidget(refresh_, 2, 2);
    grid->setRowStretch(0, 1);
}

void RecordingsPanel::showRecordings(const RecordingList& list) {
    const auto before = QString::fromStdString(chosen());
    known_ = true;
    list_->clear();
    for (const Recording& recording : list.recordings) {
        list_->addTopLevelItem(new RecordingItem(recording));
    }
    for (auto* item : list_->findItems(before, Qt::MatchExactly, Name)) {
        list_->setCurrentItem(item);
    }
    if (!list_->currentItem() && list_->topLevelItemCount() > 0) {
        list_->setCurrentItem(list_->topLevelItem(0));
    }
    refresh();
}

void RecordingsPanel::forget() {
    known_ = false;
    list_->clear();
    refresh();
}

void RecordingsPanel::showPlaying(const std::string& name) {
    playing_ = name;
    refresh();
}

void RecordingsPanel::setConnected(bool connected) {
    connected_ = connected;
    if (!connected) {
        playing_.clear();
    }
    refresh();
}

void RecordingsPanel::refresh() {
    if (!playing_.empty()) {
        state_->setText(
            QStringLiteral("Playing %1, without sound").arg(QString::fromStdString(playing_)));
    } else if (!connected_) {
        state_->setText(QStringLiteral("Not connected"));
    } else if (known_ && list_->topLevelItemCount() == 0) {
        state_->setText(QStringLiteral("There are no recordings."));
    } else {
        state_->setText(QStringLiteral("Live picture"));
    }
    refreshButtons();
}

void RecordingsPanel::refreshButtons() {
    play_->setEnabled(connected_ && !chosen().empty());
    live_->setEnabled(connected_ && !playing_.empty());
    refresh_->setEnabled(connected_);
}

void RecordingsPanel::playChosen() {
    if (const auto name = chosen(); connected_ && !name.empty()) {
        actions_.play(name);
    }
}

std::string RecordingsPanel::chosen() const {
    const QTreeWidgetItem* item = list_->currentItem();
    return item && item->isSelected() ? item->text(Name).toStdString() : std::string();
}

} // namespace ovelo
