#pragma once

#include "ShaderPair.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace programTesting {

/// Numbers for a vertex attribute or a uniform. Attributes hold `components` numbers a vertex;
/// a uniform of 1 to 4 components is a vector; `side` above 1 makes it a square matrix, row by row.
struct GlNumbers {
    std::string name;
    int components = 4;
    std::vector<double> values;
    bool integer = false; ///< int, ivec or bool; bools are 0 and 1
    int side = 1;
};

/// The bytes of a uniform block.
struct GlBlock {
    std::string name;
    std::vector<unsigned char> bytes;
};

/// A texture of four floats a texel, one level, for a sampler, linearly filtered.
struct GlTexture {
    enum Kind { k1D, k2D, k3D, kCube, kRect };
    std::string sampler;
    Kind kind = k2D;
    int width = 1, height = 1, depth = 1; ///< in texels; a cube has its six faces as depth
    std::vector<float> texels;
    bool repeats = true; ///< beyond the edges, else the edge goes on; a cube and a rectangle never do
};

/// One draw with everything it needs, into a target of floats.
struct GlDraw {
    enum Shape { kPoints, kTriangles };
    Shape shape = kPoints;
    int vertices = 0;
    std::vector<GlNumbers> attributes;
    std::vector<GlNumbers> uniforms;
    std::vector<GlBlock> blocks;
    std::vector<GlTexture> textures;
    int width = 1, height = 1; ///< of the target, at most kMaxSide
};

/// What a draw left in the target: lines from below, `kUntouched` where nothing was drawn.
struct GlPicture {
    std::vector<float> rgba;
    std::vector<float> depth;
};

/// A GL 3.3 core context without a window: through EGL on Linux (Mesa's software driver), through WGL
/// under Windows. Everything happens on the calling thread.
class GlDriver {
public:
    static constexpr int kMaxSide = 256;
    static constexpr float kUntouched = -54321;

    /// The one driver of the process; null without one, and `whyMissing` says what to install.
    static GlDriver* get();
    static const std::string& whyMissing();

    GlDriver(const GlDriver&) = delete;
    GlDriver& operator=(const GlDriver&) = delete;

    std::string description() const;

    /// Compiles and links a pair. Returns its name, or 0 with the driver's messages in `log`.
    /// A fragment text that is drawn with needs one output at colour 0.
    unsigned link(const ShaderPair& pair, std::string& log);
    void destroy(unsigned program);

    /// Draws with a linked program. What the program does not use is left out; false with a message in
    /// `log` where it uses an attribute, a uniform or a sampler that `scene` does not give.
    bool draw(unsigned program, const GlDraw& scene, GlPicture& picture, std::string& log);

private:
    struct Functions;
    struct Context;
    GlDriver();

    std::unique_ptr<Context> fContext;
    std::unique_ptr<Functions> fGl;
    unsigned fTarget = 0;
    std::string fDescription;
};

/// `link`, `draw` and `destroy` in one.
bool drawPair(GlDriver& driver, const ShaderPair& pair, const GlDraw& scene, GlPicture& picture,
              std::string& log);

} // namespace programTesting
