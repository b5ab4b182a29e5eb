#pragma once

#include <cmath>

/** A number and its derivatives with respect to x and y (forward automatic differentiation). */
struct Dual {
    double value;
    double dx = 0;
    double dy = 0;
};

inline Dual operator+(Dual a, Dual b) {
    return {a.value + b.value, a.dx + b.dx, a.dy + b.dy};
}
inline Dual operator-(Dual a, Dual b) {
    return {a.value - b.value, a.dx - b.dx, a.dy - b.dy};
}
inline Dual operator*(Dual a, Dual b) {
    return {a.value * b.value, a.dx * b.value + a.value * b.dx, a.dy * b.value + a.value * b.dy};
}
inline Dual operator/(Dual a, Dual b) {
    const double quotient = a.value / b.value;
    return {quotient, (a.dx - quotient * b.dx) / b.value, (a.dy - quotient * b.dy) / b.value};
}
inline Dual operator+(double a, Dual b) {
    return Dual{a} + b;
}
inline Dual operator*(double a, Dual b) {
    return Dual{a} * b;
}

/** Not for zero, where the root has no derivative. */
inline Dual sqrt(Dual a) {
    const double root = std::sqrt(a.value);
    return {root, a.dx / (2 * root), a.dy / (2 * root)};
}
inline Dual atan(Dual a) {
    const double slope = 1 / (1 + a.value * a.value);
    return {std::atan(a.value), a.dx * slope, a.dy * slope};
}
