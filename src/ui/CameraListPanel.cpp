#include "ui/CameraListPanel.h"

#include "ipcam/IPCamListController.h"
#include "ui/CameraItemPanel.h"
#include "ui/DriverBar.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kNameWidth = 130;
constexpr int kUrlWidth = 280;

} // namespace

CameraListPanel::CameraListPanel(IPCamListController& controller, std::function<void()> close,
                                 QWidget* window)
    : QDialog(window)
    , controller_(controller)
    , close_(std::move(close)) {
    setObjectName(u"cameraListPanel"_s);
    setWindowTitle(u"Network Cameras"_s);
    new CameraItemPanel(controller_.ipCamItemController(), this);
    auto* closing = new QDialogButtonBox(QDialogButtonBox::Close);
    closing->button(QDialogButtonBox::Close)->setAutoDefault(false);
    connect(closing, &QDialogButtonBox::rejected, this, &CameraListPanel::reject);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(12);
    column->addWidget(layouts::note(
        u"Each camera can be chosen as \"IP Cam: \" and its name, while the driver is installed."_s));
    column->addWidget(table(), 1);
    column->addWidget(buttons());
    column->addWidget(new DriverBar(controller_.driverSetting()));
    column->addWidget(closing);
    layouts::plainButtons(*this);
    resize(680, 420);

    controller_.reloadData().connect(sigc::mem_fun(*this, &CameraListPanel::reloadData));
    controller_.enableDeleteEditChanged().connect(
        sigc::mem_fun(*this, &CameraListPanel::refreshButtons));
    controller_.orderOut().connect(sigc::mem_fun(*this, &CameraListPanel::hide));
    reloadData();
}

QWidget* CameraListPanel::table() {
    myTableView_ = new QTableWidget(0, 4);
    myTableView_->setObjectName(u"cameraTable"_s);
    myTableView_->setAccessibleName(u"Network cameras"_s);
    myTableView_->setHorizontalHeaderLabels({u"Name"_s, u"URL"_s, u"User name"_s, u"Password"_s});
    myTableView_->setSelectionBehavior(QAbstractItemView::SelectRows);
    myTableView_->setSelectionMode(QAbstractItemView::SingleSelection);
    myTableView_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    myTableView_->setTabKeyNavigation(false);
    myTableView_->verticalHeader()->hide();
    myTableView_->horizontalHeader()->setStretchLastSection(true);
    myTableView_->horizontalHeader()->setHighlightSections(false);
    myTableView_->setColumnWidth(0, kNameWidth);
    myTableView_->setColumnWidth(1, kUrlWidth);
    connect(myTableView_, &QTableWidget::itemSelectionChanged, this, [this] { rowChanged(); });
    connect(myTableView_, &QTableWidget::itemDoubleClicked, this,
            [this] { controller_.editAction(); });
    return myTableView_;
}

QPushButton* CameraListPanel::button(const char* name, const QString& text,
                                     const std::function<void()>& action) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, action);
    return button;
}

QWidget* CameraListPanel::buttons() {
    edit_ = button("editCamera", u"&Edit..."_s, [this] { controller_.editAction(); });
    delete_ = button("deleteCamera", u"&Delete"_s, [this] { controller_.deleteAction(); });
    auto* buttons = new QWidget;
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(button("addCamera", u"&Add..."_s, [this] { controller_.addAction(); }));
    row->addWidget(edit_);
    row->addWidget(delete_);
    row->addStretch(1);
    return buttons;
}

void CameraListPanel::reject() {
    close_();
}

void CameraListPanel::reloadData() {
    myTableView_->clearSelection();
    const auto rows = static_cast<int>(controller_.numberOfRowsInTableView());
    myTableView_->setRowCount(rows);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < myTableView_->columnCount(); ++column) {
            const std::string text =
                controller_.tableView(std::to_string(column), static_cast<std::size_t>(row));
            myTableView_->setItem(row, column, new QTableWidgetItem(toQt(text)));
        }
    }
    refreshButtons();
}

void CameraListPanel::rowChanged() {
    const auto selected = myTableView_->selectionModel()->selectedRows();
    controller_.rowChangeHandler(
        selected.isEmpty() ? std::nullopt
                           : std::optional(static_cast<std::size_t>(selected.front().row())));
}

void CameraListPanel::refreshButtons() {
    edit_->setEnabled(controller_.enableDeleteEdit());
    delete_->setEnabled(controller_.enableDeleteEdit());
}

} // namespace ovelo
