#include "ui/AutoConfigPanel.h"

#include "app/MyDocument.h"
#include "ui/Layouts.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace ovelo {

AutoConfigPanel::AutoConfigPanel(MyDocument& document, QWidget* window) : QDialog(window) {
    setObjectName(u"autoConfigPanel"_s);
    setWindowTitle(u"Automatic Router Configuration"_s);
    auto* buttons = new QDialogButtonBox;
    QPushButton* start = buttons->addButton(u"&Start"_s, QDialogButtonBox::ActionRole);
    start->setObjectName(u"startAutoConfig"_s);
    start->setEnabled(false);
    QPushButton* close = buttons->addButton(QDialogButtonBox::Close);
    close->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this,
            [&document] { document.closeNatAutoPanel(); });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(12);
    column->addLayout(layouts::banner(
        u"Watch from outside your home"_s,
        u"To let viewers in from the internet, the router has to pass the viewers' port on to this "
        "computer. Ovelo can ask the router to do so."_s));
    auto* missing = new QLabel(u"This version of Ovelo cannot configure routers yet. Until then, "
                               "forward the port by hand in your router's settings."_s);
    missing->setObjectName(u"autoConfigNote"_s);
    missing->setWordWrap(true);
    column->addWidget(missing);
    column->addWidget(buttons);
    layouts::plainButtons(*this);
    column->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace ovelo
