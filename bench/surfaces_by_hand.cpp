#include "surfaces_by_hand.h"

#include <algorithm>
#include <cmath>

namespace QV_SURFACES {

namespace {

constexpr double kPi = 3.14159265;

struct Vector {
    double x, y, z;
};

Vector vectorAt(const float* const* columns, std::size_t i) {
    return {columns[0][i], columns[1][i], columns[2][i]};
}
Vector vectorOf(const double* numbers) {
    return {numbers[0], numbers[1], numbers[2]};
}
double dot(const Vector& a, const Vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vector halfVector(const Vector& l, const Vector& v) {
    const Vector sum = {l.x + v.x, l.y + v.y, l.z + v.z};
    const double length = std::sqrt(dot(sum, sum));
    return {sum.x / length, sum.y / length, sum.z / length};
}
double lambert(const Vector& n, const Vector& l) {
    return std::max(dot(n, l), 0.0);
}
double saturate(double x) {
    return std::min(std::max(x, 0.0), 1.0);
}
double mix(double a, double b, double t) {
    return a + (b - a) * t;
}
void store(double* const* results, std::size_t i, double x, double y, double z) {
    results[0][i] = x;
    results[1][i] = y;
    results[2][i] = z;
}

void highlight(const float* const* points, const double* uniforms, double* const* results,
               std::size_t count) {
    const Vector colour = vectorOf(uniforms);
    const double exponent = uniforms[3];
    for (std::size_t i = 0; i < count; ++i) {
        const Vector n = vectorAt(points, i);
        const Vector l = vectorAt(points + 3, i);
        const Vector v = vectorAt(points + 6, i);
        const double diffuse = lambert(n, l);
        const double specular =
            std::pow(lambert(n, halfVector(l, v)), exponent) * (dot(n, l) >= 0 ? 1.0 : 0.0);
        store(results, i, colour.x * diffuse + specular, colour.y * diffuse + specular,
              colour.z * diffuse + specular);
    }
}

double smithLambda(double cosine, double alpha) {
    const double c2 = std::max(cosine * cosine, 0.0001);
    return 0.5 * std::sqrt(1 + alpha * alpha * (1 - c2) / c2) - 0.5;
}

void metal(const float* const* points, const double* uniforms, double* const* results, std::size_t count) {
    const Vector f0 = vectorOf(uniforms);
    const double alpha = uniforms[3] * uniforms[3];
    const double a2 = alpha * alpha;
    for (std::size_t i = 0; i < count; ++i) {
        const Vector n = vectorAt(points, i);
        const Vector l = vectorAt(points + 3, i);
        const Vector v = vectorAt(points + 6, i);
        const Vector h = halfVector(l, v);
        const double nl = lambert(n, l);
        const double nv = lambert(n, v);
        const double nh = lambert(n, h);
        const double t = nh * nh * (a2 - 1) + 1;
        const double d = a2 / (kPi * (t * t));
        const double g = 1 / (1 + smithLambda(nl, alpha) + smithLambda(nv, alpha));
        const double c = 1 - saturate(dot(v, h));
        const double c5 = c * ((c * c) * (c * c));
        const double rest = d * g / std::max(4 * nv, 0.0001) * (nl >= 0.0001 ? 1.0 : 0.0);
        store(results, i, (f0.x + (1 - f0.x) * c5) * rest, (f0.y + (1 - f0.y) * c5) * rest,
              (f0.z + (1 - f0.z) * c5) * rest);
    }
}

void matt(const float* const* points, const double* uniforms, double* const* results, std::size_t count) {
    const double s2 = uniforms[0] * uniforms[0];
    const double a = 1 - 0.5 * s2 / (s2 + 0.33);
    const double b = 0.45 * s2 / (s2 + 0.09);
    for (std::size_t i = 0; i < count; ++i) {
        const Vector n = vectorAt(points, i);
        const Vector l = vectorAt(points + 3, i);
        const Vector v = vectorAt(points + 6, i);
        const double nl = lambert(n, l);
        const double nv = lambert(n, v);
        const double s = std::max(dot(l, v) - nl * nv, 0.0) / std::max(std::max(nl, nv), 0.0001);
        results[0][i] = nl * (a + b * s);
    }
}

void tones(const float* const* points, const double* uniforms, double* const* results, std::size_t count) {
    const Vector cool = vectorOf(uniforms);
    const Vector warm = vectorOf(uniforms + 3);
    for (std::size_t i = 0; i < count; ++i) {
        const double t = 0.5 + 0.5 * dot(vectorAt(points, i), vectorAt(points + 3, i));
        store(results, i, mix(cool.x, warm.x, t), mix(cool.y, warm.y, t), mix(cool.z, warm.z, t));
    }
}

void landscape(const float* const* points, const double* uniforms, double* const* results,
               std::size_t count) {
    const Vector sky = vectorOf(uniforms);
    const Vector ground = vectorOf(uniforms + 3);
    const Vector fog = vectorOf(uniforms + 6);
    const double density = uniforms[9];
    for (std::size_t i = 0; i < count; ++i) {
        const Vector n = vectorAt(points, i);
        const Vector p = vectorAt(points + 3, i);
        const double up = 0.5 * n.y + 0.5;
        const double visible = saturate(std::exp(-std::sqrt(dot(p, p)) * density));
        store(results, i, mix(fog.x, mix(ground.x, sky.x, up), visible),
              mix(fog.y, mix(ground.y, sky.y, up), visible), mix(fog.z, mix(ground.z, sky.z, up), visible));
    }
}

void wall(const float* const* points, const double* uniforms, double* const* results, std::size_t count) {
    const Vector bricks = vectorOf(uniforms);
    const Vector mortar = vectorOf(uniforms + 3);
    const double width = 0.25;
    const double height = 0.125;
    const double borderX = 0.5 * 0.0625 / width;
    const double borderY = 0.5 * 0.0625 / height;
    for (std::size_t i = 0; i < count; ++i) {
        const double px = static_cast<double>(points[0][i]) / width;
        const double py = static_cast<double>(points[1][i]) / height;
        const double shifted = px + 0.5 * std::fmod(std::floor(py), 2);
        const double x = shifted - std::floor(shifted);
        const double y = py - std::floor(py);
        const double onX = (x >= borderX ? 1.0 : 0.0) * (1 - borderX >= x ? 1.0 : 0.0);
        const double onY = (y >= borderY ? 1.0 : 0.0) * (1 - borderY >= y ? 1.0 : 0.0);
        const double t = onX * onY;
        const double light = lambert(vectorAt(points + 2, i), vectorAt(points + 5, i));
        store(results, i, mix(mortar.x, bricks.x, t) * light, mix(mortar.y, bricks.y, t) * light,
              mix(mortar.z, bricks.z, t) * light);
    }
}

void cloth(const float* const* points, const double* uniforms, double* const* results, std::size_t count) {
    const Vector colour = vectorOf(uniforms);
    const double scale = (2 + 1 / uniforms[3]) / (2 * kPi);
    const double exponent = 0.5 / uniforms[3];
    for (std::size_t i = 0; i < count; ++i) {
        const Vector n = vectorAt(points, i);
        const Vector l = vectorAt(points + 3, i);
        const Vector v = vectorAt(points + 6, i);
        const double nh = dot(n, halfVector(l, v));
        const double nl = lambert(n, l);
        const double nv = lambert(n, v);
        const double d = scale * std::pow(std::max(1 - nh * nh, 0.0), exponent);
        const double rest = nl * d / (4 * std::max(nl + nv - nl * nv, 0.0001));
        store(results, i, colour.x * rest, colour.y * rest, colour.z * rest);
    }
}

} // namespace

const SurfacesByHand surfaces = {highlight, metal, matt, tones, landscape, wall, cloth};

} // namespace QV_SURFACES
