// Flies a camera through a few thousand boxes and a particle system: culls the boxes against what
// the camera sees, puts boxes and particles into back-to-front order, and prints how many are drawn
// in each frame. Checks the order and that nothing in sight was culled; a fault ends the program
// with exit code 1.

#include "geometry/AABoundingBox.h"
#include "geometry/BoundingSphere.h"
#include "geometry/DepthSorter.h"
#include "geometry/ParticleDataIterator.h"
#include "resources/IHWCamera.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <vector>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

using qvLinear::AffineMatrix;
using qvLinear::HPoint;
using qvLinear::Normal;
using qvLinear::PointFlt;
using qvLinear::ProjMatrix;
using qvLinear::Vector;

namespace {

constexpr unsigned int kBoxes = 4000;
constexpr unsigned int kParticles = 2000;
constexpr int kFrames = 12;
constexpr float kParticleRadius = 0.25F;

/// The same numbers on every platform, in [low, high).
float randomNumber(float low, float high) {
    static std::uint32_t state = 1;
    state = state * 1664525 + 1013904223;
    return low + (high - low) * static_cast<float>(state >> 8) * 0x1p-24F;
}

std::vector<AABoundingBox> makeBoxes() {
    std::vector<AABoundingBox> boxes;
    for (unsigned int i = 0; i < kBoxes; ++i) {
        const float x = randomNumber(-60, 60), y = randomNumber(-10, 10), z = randomNumber(-60, 60);
        AABoundingBox box;
        box.addPoint({x, y, z});
        box.addPoint({x + randomNumber(0.5F, 3), y + randomNumber(0.5F, 3), z + randomNumber(0.5F, 3)});
        boxes.push_back(box);
    }
    return boxes;
}

/// A fountain in the middle of the scene, with one reference for the caller.
ParticleData* makeParticles() {
    auto* xyz = new float[std::size_t(kParticles) * 3];
    for (unsigned int i = 0; i < kParticles; ++i) {
        xyz[3 * i] = randomNumber(-8, 8);
        xyz[3 * i + 1] = randomNumber(0, 15);
        xyz[3 * i + 2] = randomNumber(-8, 8);
    }
    auto* positions = new GeometryData("positions", GeometryData::kVertexData, GeometryData::kFloatElement,
                                       GeometryData::kThreeElements, kParticles, xyz);
    auto* velocities =
        new GeometryData("velocities", GeometryData::kUserData, GeometryData::kFloatElement,
                         GeometryData::kThreeElements, kParticles, new float[std::size_t(kParticles) * 3]());
    // The particles take references of their own, so that ours are not needed.
    auto* particles = new ParticleData(ParticleData::kSprite, kParticleRadius, *positions, *velocities,
                                       nullptr, nullptr, nullptr);
    particles->ref();
    return particles;
}

/// The camera circles the scene, looks inwards and bends down more and more.
AffineMatrix viewOfFrame(int frame) {
    const double turn = 2 * std::numbers::pi * frame / kFrames;
    const Vector eye(40 * std::sin(turn), 6, 40 * std::cos(turn));
    AffineMatrix view;
    view.translate(Vector(-eye.x, -eye.y, -eye.z));
    view.rotate(-turn, Normal(0, 1, 0));
    view.rotate(0.3 * frame / kFrames, Normal(1, 0, 0));
    return view;
}

float eyeDepth(const ProjMatrix& view, const PointFlt& p) {
    HPoint eye(p.x, p.y, p.z, 1);
    view.preMult(eye, eye);
    return static_cast<float>(eye.z);
}

bool isInSight(const ProjMatrix& worldToClip, const PointFlt& p) {
    HPoint clip(p.x, p.y, p.z, 1);
    worldToClip.preMult(clip, clip);
    return std::fabs(clip.x) < clip.w && std::fabs(clip.y) < clip.w && std::fabs(clip.z) < clip.w;
}

/// What a frame draws, and whether it is right.
struct Drawn {
    unsigned int boxes = 0;
    unsigned int particles = 0;
    bool correct = true;
};

/// The eye looks along -z, so that the smallest depth is the farthest.
void drawBoxes(const IHWCamera& camera, const ProjMatrix& view, const std::vector<AABoundingBox>& boxes,
               Drawn& drawn) {
    std::vector<float> centers;
    std::vector<unsigned int> visible;
    for (unsigned int i = 0; i < boxes.size(); ++i) {
        const PointFlt center = boxes[i].center();
        centers.insert(centers.end(), {center.x, center.y, center.z});
        if (camera.intersects(boxes[i])) {
            visible.push_back(i);
        } else if (isInSight(view * camera.projMatrix(), center)) {
            drawn.correct = false;
        }
    }
    drawn.boxes = static_cast<unsigned int>(visible.size());
    std::vector<unsigned int> order(visible.size());
    drawn.correct =
        drawn.correct && DepthSorter::sortByDepth(view, order.data(), static_cast<unsigned int>(boxes.size()),
                                                  centers.data(), visible.data(), drawn.boxes);
    for (std::size_t k = 1; k < order.size(); ++k) {
        const float before = eyeDepth(view, boxes[visible[order[k - 1]]].center());
        const float here = eyeDepth(view, boxes[visible[order[k]]].center());
        drawn.correct = drawn.correct && (before < here || (before == here && order[k - 1] < order[k]));
    }
}

void drawParticles(const IHWCamera& camera, const ProjMatrix& view, ParticleData& particles, Drawn& drawn) {
    particles.sortByDepth(view, nullptr, 0);
    std::vector<bool> met(kParticles, false);
    unsigned int walked = 0;
    float before = -1e30F;
    ParticleDataIterator it(particles, nullptr, 0);
    for (it.useParticleDataFilter(); !it.isDone(); it.next()) {
        const auto* xyz = static_cast<const float*>(it.position());
        const PointFlt p(xyz[0], xyz[1], xyz[2]);
        const float here = eyeDepth(view, p);
        drawn.correct = drawn.correct && before <= here && !met[it.index()];
        met[it.index()] = true;
        before = here;
        ++walked;
        drawn.particles += camera.intersects(BoundingSphere(p, particles.size()));
    }
    drawn.correct = drawn.correct && walked == kParticles;
}

} // namespace

int main() {
#if defined(_WIN32)
    _setmode(_fileno(stdout), _O_BINARY); // the same bytes on every platform
#endif
    const std::vector<AABoundingBox> boxes = makeBoxes();
    ParticleData* particles = makeParticles();
    IHWCamera camera;
    camera.setPerspective(50, 4.0 / 3.0, 0.5, 70);

    bool correct = true;
    std::printf("frame  boxes of %u  particles of %u\n", kBoxes, kParticles);
    for (int frame = 0; frame < kFrames; ++frame) {
        camera.setViewMatrix(viewOfFrame(frame));
        const ProjMatrix view(camera.viewMatrix());
        Drawn drawn;
        drawBoxes(camera, view, boxes, drawn);
        drawParticles(camera, view, *particles, drawn);
        correct = correct && drawn.correct;
        std::printf("%5d  %13u  %17u%s\n", frame, drawn.boxes, drawn.particles,
                    drawn.correct ? "" : "  wrong");
    }
    particles->unref();
    return correct ? 0 : 1;
}
