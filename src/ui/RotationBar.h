#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

class QLabel;

namespace ovelo {

class MyDocument;
class Settings;

/// How the picture that viewers get is turned, and the buttons that turn it.
///
/// thread  main
class RotationBar final : public QWidget, public sigc::trackable {
public:
    RotationBar(MyDocument& document, Settings& settings);

private:
    void build(MyDocument& document);
    void refresh();

    Settings& settings_;
    QLabel* effect_ = nullptr;
};

} // namespace ovelo
