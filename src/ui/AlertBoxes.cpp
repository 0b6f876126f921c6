#include "ui/AlertBoxes.h"

#include "ui/Display.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr std::size_t kMostBoxes = 8;

} // namespace

AlertBoxes::~AlertBoxes() {
    for (const QPointer<QMessageBox>& box : boxes_) {
        delete box.data(); // NOLINT(cppcoreguidelines-owning-memory): perhaps a window has done so
    }
}

/// return  null when it is not shown
QMessageBox* AlertBoxes::makeBox(const std::string& message, const std::string& informativeText) {
    if (!onScreen_) {
        display::printAlert(message, informativeText);
        return nullptr;
    }
    // One that was answered goes a little later.
    std::erase_if(boxes_, [](const auto& box) { return box.isNull() || box->isHidden(); });
    const auto isShown = [&](const QPointer<QMessageBox>& box) {
        return box->text() == toQt(message) && box->informativeText() == toQt(informativeText);
    };
    if (boxes_.size() >= kMostBoxes || std::any_of(boxes_.begin(), boxes_.end(), isShown)) {
        return nullptr;
    }
    auto* box = new QMessageBox(QMessageBox::Information, u"Ovelo"_s, toQt(message),
                                QMessageBox::NoButton, QApplication::activeWindow());
    box->setObjectName(u"alert"_s);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(toQt(informativeText));
    if (auto* label = box->findChild<QLabel*>(u"qt_msgbox_informativelabel"_s)) {
        label->setTextFormat(Qt::PlainText); // a web site may have written it
    }
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::ApplicationModal);
    boxes_.emplace_back(box);
    return box;
}

void AlertBoxes::tell(const std::string& message, const std::string& informativeText,
                      std::function<void()> closed) {
    const auto done = [closed = std::move(closed)] {
        if (closed) {
            closed();
        }
    };
    QMessageBox* box = makeBox(message, informativeText);
    if (box == nullptr) {
        done();
        return;
    }
    box->addButton(QMessageBox::Ok);
    layouts::plainButtons(*box);
    QObject::connect(box, &QMessageBox::finished, box, done);
    box->show();
}

void AlertBoxes::ask(const Question& question, std::function<void(bool)> answer) {
    QMessageBox* box = makeBox(question.message, question.informativeText);
    if (box == nullptr) {
        answer(false);
        return;
    }
    QPushButton* normal = box->addButton(toQt(question.defaultButton), QMessageBox::RejectRole);
    QPushButton* other = box->addButton(toQt(question.otherButton), QMessageBox::AcceptRole);
    box->setDefaultButton(normal);
    box->setEscapeButton(normal);
    layouts::plainButtons(*box);
    QObject::connect(box, &QMessageBox::finished, box, [box, other, answer = std::move(answer)] {
        answer(box->clickedButton() == other);
    });
    box->show();
}

} // namespace ovelo
