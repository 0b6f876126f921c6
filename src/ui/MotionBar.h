#pragma once

#include <QWidget>

#include <optional>

namespace ovelo {

/// How much of the picture moved last, against how much is needed for an alert: by it a person
/// chooses the sensitivity.
///
/// thread  main
class MotionBar final : public QWidget {
public:
    /// Both are parts of the picture, 0 to 1.
    struct Reading {
        double ratio = 0;
        double threshold = 0;

        friend bool operator==(const Reading&, const Reading&) = default;
    };

    explicit MotionBar(QWidget* parent = nullptr);

    /// reading  nothing while nobody watches for motion, or nothing was compared yet
    void setReading(const std::optional<Reading>& reading);

    /// How far the bar is filled, 0 to 1.
    [[nodiscard]] double filled() const;

    /// True when what moved is enough for an alert.
    [[nodiscard]] bool isMotion() const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::optional<Reading> reading_;
};

} // namespace ovelo
