#pragma once

#include <QDialog>

namespace ovelo {

class MyDocument;

/// The panel that offers to open the viewers' port on the router.
///
/// thread  main
class AutoConfigPanel final : public QDialog {
public:
    AutoConfigPanel(MyDocument& document, QWidget* window);
};

} // namespace ovelo
