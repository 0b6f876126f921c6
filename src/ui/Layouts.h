#pragma once

#include <QString>

class QBoxLayout;
class QCheckBox;
class QFormLayout;
class QLabel;
class QLayout;
class QLineEdit;
class QWidget;

/// The building blocks that every window of ours is laid out with, so that they look alike.
///
/// lifetime  each returned object has no parent yet: the layout it is added to takes it
namespace ovelo::layouts {

/// Labels on the left, fields on the right.
QFormLayout* form();

/// A small, quiet line of explanation; wraps.
QLabel* note(const QString& text = {});

/// A part of a window under a title of its own.
QWidget* section(const QString& title, QLayout* content);

/// The program's icon beside a title and a sentence: the top of a window.
QBoxLayout* banner(const QString& title, const QString& text);

/// Gives all forms in `window` label columns of one width, so that their fields stand in one line.
void alignForms(const QWidget& window);

/// Takes the pictures off the buttons; ours are told by their words.
void plainButtons(const QWidget& dialog);

/// A check box that makes a password readable.
QCheckBox* showPasswordBox(QLineEdit& password);

/// Makes `label` larger (or smaller) than its surroundings by `factor`, and bold when asked.
void scaleFont(QLabel& label, double factor, bool bold);

} // namespace ovelo::layouts
