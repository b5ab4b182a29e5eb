#include "making/place_breaks.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

namespace {

using Matrix = Eigen::MatrixXd;

/** Pixels. Less than this is the single precision of the file, which no break point improves. */
constexpr double negligible = 5e-4;

// The distance to which the search brings break points, and by which it keeps them apart, as parts
// of the image's side.
constexpr double finestStep = 1e-3;
constexpr double smallestPiece = 0.02;

/** An orthonormal basis of what the splines of one axis can be at the sites. */
template <class Axis>
Matrix basisOver(const Axis& breaks, int order, const std::vector<double>& sites) {
    const Matrix values = splinesAt(breaks, order, sites);
    const Eigen::HouseholderQR<Matrix> decomposed(values);
    return decomposed.householderQ() * Matrix::Identity(values.rows(), values.cols());
}

/** The state of the search: break points and, for both axes, what follows from them. */
class Search {
  public:
    Search(const Breaks& breaks, const GridValues& target) : target_(target), breaks_(breaks) {
        const auto rows = static_cast<Eigen::Index>(target.v.size());
        const auto cols = static_cast<Eigen::Index>(target.u.size());
        using Interleaved = Eigen::Map<const Collocation, 0, Eigen::Stride<Eigen::Dynamic, 2>>;
        const Eigen::Stride<Eigen::Dynamic, 2> stride(2 * cols, 2);
        x_ = Interleaved(&target.values.front().x, rows, cols, stride);
        y_ = Interleaved(&target.values.front().y, rows, cols, stride);
        alongX_ = basisOver(breaks_.x, fittingShape.xOrder, target_.u);
        alongY_ = basisOver(breaks_.y, fittingShape.yOrder, target_.v);
        error_ = error(alongX_, alongY_);
    }

    [[nodiscard]] const Breaks& breaks() const { return breaks_; }
    [[nodiscard]] double error() const { return error_; }

    /** Goes on with the mean of this power of the errors, an even one. */
    void setPower(int power) {
        power_ = power;
        error_ = error(alongX_, alongY_);
    }

    /** Moves break points as long as steps of this size, in parts of the image, help. */
    void descend(double step) {
        while (step >= finestStep) {
            bool moved = false;
            for (std::size_t i = 1; i + 1 < breaks_.x.size(); ++i) {
                moved |= tryBoth(breaks_.x, i, step, true);
            }
            for (std::size_t i = 1; i + 1 < breaks_.y.size(); ++i) {
                moved |= tryBoth(breaks_.y, i, step, false);
            }
            step = moved ? step : step / 2;
        }
    }

  private:
    template <class Axis>
    bool tryBoth(Axis& axis, std::size_t i, double step, bool isX) {
        const double range = axis.back() - axis.front();
        for (const double move : {step * range, -step * range}) {
            const double before = axis[i];
            axis[i] += move;
            if (axis[i] - axis[i - 1] >= smallestPiece * range &&
                axis[i + 1] - axis[i] >= smallestPiece * range) {
                Matrix basis = isX ? basisOver(axis, fittingShape.xOrder, target_.u)
                                   : basisOver(axis, fittingShape.yOrder, target_.v);
                const double reached = isX ? error(basis, alongY_) : error(alongX_, basis);
                if (reached < error_) {
                    error_ = reached;
                    (isX ? alongX_ : alongY_) = std::move(basis);
                    return true;
                }
            }
            axis[i] = before;
        }
        return false;
    }

    /** The mean of the chosen power of the distances between target and fit, and its root. */
    [[nodiscard]] double error(const Matrix& alongX, const Matrix& alongY) const {
        const auto residual = [&](const Matrix& values) {
            const Matrix inner = alongY.transpose() * values * alongX;
            return Matrix(values - alongY * inner * alongX.transpose());
        };
        Eigen::ArrayXXd squares = residual(x_).array().square() + residual(y_).array().square();
        const double largest = squares.maxCoeff();
        if (!(largest > negligible * negligible)) {
            return std::sqrt(largest);
        }
        squares /= largest;
        const double mean = squares.pow(power_ / 2).mean();
        return std::sqrt(largest) * std::pow(mean, 1.0 / power_);
    }

    const GridValues& target_;
    Breaks breaks_;
    Matrix x_;
    Matrix y_;
    Matrix alongX_;
    Matrix alongY_;
    int power_ = 2;
    double error_ = 0;
};

}  // namespace

Breaks placeBreaks(const Breaks& breaks, const GridValues& target) {
    Search search(breaks, target);
    double step = 0.04;
    for (const int power : {2, 16}) {
        search.setPower(power);
        if (search.error() > negligible) {
            search.descend(step);
        }
        step /= 2;
    }
    return search.breaks();
}
