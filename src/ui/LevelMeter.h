#pragma once

#include <QWidget>

namespace ovelo {

/// A row of lamps that shows how loud the microphone is.
///
/// thread  main
class LevelMeter final : public QWidget {
public:
    explicit LevelMeter(QWidget* parent = nullptr);

    /// level  0 (silence) to 1 (full scale); beyond is taken as the end
    void setLevel(float level);

    [[nodiscard]] int litLamps() const { return lit_; }

    static constexpr int kLamps = 24;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int lit_ = 0;
};

} // namespace ovelo
