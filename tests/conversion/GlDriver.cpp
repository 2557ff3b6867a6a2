#include "GlDriver.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <EGL/egl.h>
#include <EGL/eglext.h>
#endif

#include <GL/glcorearb.h>

#include <algorithm>
#include <cstring>

namespace programTesting {

// ---- The context of each system ----

#ifdef _WIN32

struct GlDriver::Context {
    HWND window = nullptr;
    HDC surface = nullptr;
    HGLRC context = nullptr;
    HMODULE library = nullptr;
    std::string reason;

    Context();

    void* function(const char* name) const {
        using Find = PROC(WINAPI*)(LPCSTR);
        const auto find =
            reinterpret_cast<Find>(reinterpret_cast<void*>(GetProcAddress(library, "wglGetProcAddress")));
        PROC found = find(name);
        if (found == nullptr) { // those of GL 1.1 are the library's own
            found = reinterpret_cast<PROC>(GetProcAddress(library, name));
        }
        return reinterpret_cast<void*>(found);
    }
    template <typename Function>
    Function wgl(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    }
};

GlDriver::Context::Context() {
    library = LoadLibraryA("opengl32.dll");
    if (library == nullptr) {
        reason = "opengl32.dll is missing";
        return;
    }
    // On a desktop of its own: Wine draws on the screen that a desktop was started on, and programs
    // beside this one may have started the common one without any.
    const HDESK desktop = CreateDesktopA("qv-drawing", nullptr, nullptr, 0, GENERIC_ALL, nullptr);
    SetThreadDesktop(desktop);
    window = CreateWindowA("STATIC", "", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    surface = GetDC(window);
    PIXELFORMATDESCRIPTOR format = {};
    format.nSize = sizeof format;
    format.nVersion = 1;
    format.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL;
    format.iPixelType = PFD_TYPE_RGBA;
    format.cColorBits = 24;
    SetPixelFormat(surface, ChoosePixelFormat(surface, &format), &format);
    const auto create = wgl<HGLRC(WINAPI*)(HDC)>("wglCreateContext");
    const auto select = wgl<BOOL(WINAPI*)(HDC, HGLRC)>("wglMakeCurrent");
    context = create(surface);
    if (context == nullptr || !select(surface, context)) {
        reason = "no GL context (Debian: packages libgl1:i386, libglx-mesa0:i386 and libgl1-mesa-dri:i386)";
        return;
    }
    using CreateWith = HGLRC(WINAPI*)(HDC, HGLRC, const int*);
    const auto createWith = reinterpret_cast<CreateWith>(function("wglCreateContextAttribsARB"));
    const int version[] = {0x2091, 3, 0x2092, 3, 0x9126, 1, 0}; // major, minor, core profile
    const HGLRC core = createWith == nullptr ? nullptr : createWith(surface, nullptr, version);
    if (core == nullptr || !select(surface, core)) {
        reason = "no GL 3.3 core context";
        return;
    }
    wgl<BOOL(WINAPI*)(HGLRC)>("wglDeleteContext")(context);
    context = core;
}

#else

struct GlDriver::Context {
    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
    std::string reason;

    Context();

    void* function(const char* name) const { return reinterpret_cast<void*>(eglGetProcAddress(name)); }
};

GlDriver::Context::Context() {
    // Mesa's software driver also where there is hardware, the same on every machine.
    setenv("LIBGL_ALWAYS_SOFTWARE", "1", 1);
    const auto getDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(function("eglGetPlatformDisplayEXT"));
    if (getDisplay != nullptr) {
        display = getDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr, nullptr);
    }
    if (display == EGL_NO_DISPLAY || !eglInitialize(display, nullptr, nullptr)) {
        reason = "no headless EGL display (Debian: packages libegl-mesa0 and libgl1-mesa-dri)";
        return;
    }
    const EGLint configuration[] = {EGL_SURFACE_TYPE, 0, EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION,
                              3,
                              EGL_CONTEXT_MINOR_VERSION,
                              3,
                              EGL_CONTEXT_OPENGL_PROFILE_MASK,
                              EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                              EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    eglBindAPI(EGL_OPENGL_API);
    if (eglChooseConfig(display, configuration, &config, 1, &count) && count == 1) {
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
    }
    if (context == EGL_NO_CONTEXT || !eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) {
        reason = "no GL 3.3 core context (Debian: package libgl1-mesa-dri)";
    }
}

#endif

// ---- The functions of GL ----

// One row for each: the type of its pointer without PFNGL and PROC, and its name without gl.
#define PROGRAM_TESTING_GL_FUNCTIONS(ROW)                                                                    \
    ROW(ACTIVETEXTURE, ActiveTexture)                                                                        \
    ROW(ATTACHSHADER, AttachShader)                                                                          \
    ROW(BINDBUFFER, BindBuffer)                                                                              \
    ROW(BINDBUFFERBASE, BindBufferBase)                                                                      \
    ROW(BINDFRAGDATALOCATION, BindFragDataLocation)                                                          \
    ROW(BINDFRAMEBUFFER, BindFramebuffer)                                                                    \
    ROW(BINDTEXTURE, BindTexture)                                                                            \
    ROW(BINDVERTEXARRAY, BindVertexArray)                                                                    \
    ROW(BUFFERDATA, BufferData)                                                                              \
    ROW(CHECKFRAMEBUFFERSTATUS, CheckFramebufferStatus)                                                      \
    ROW(CLEARBUFFERFV, ClearBufferfv)                                                                        \
    ROW(COMPILESHADER, CompileShader)                                                                        \
    ROW(CREATEPROGRAM, CreateProgram)                                                                        \
    ROW(CREATESHADER, CreateShader)                                                                          \
    ROW(DELETEBUFFERS, DeleteBuffers)                                                                        \
    ROW(DELETEFRAMEBUFFERS, DeleteFramebuffers)                                                              \
    ROW(DELETEPROGRAM, DeleteProgram)                                                                        \
    ROW(DELETESHADER, DeleteShader)                                                                          \
    ROW(DELETETEXTURES, DeleteTextures)                                                                      \
    ROW(DELETEVERTEXARRAYS, DeleteVertexArrays)                                                              \
    ROW(DEPTHFUNC, DepthFunc)                                                                                \
    ROW(DRAWARRAYS, DrawArrays)                                                                              \
    ROW(ENABLE, Enable)                                                                                      \
    ROW(ENABLEVERTEXATTRIBARRAY, EnableVertexAttribArray)                                                    \
    ROW(FRAMEBUFFERTEXTURE2D, FramebufferTexture2D)                                                          \
    ROW(GENBUFFERS, GenBuffers)                                                                              \
    ROW(GENFRAMEBUFFERS, GenFramebuffers)                                                                    \
    ROW(GENTEXTURES, GenTextures)                                                                            \
    ROW(GENVERTEXARRAYS, GenVertexArrays)                                                                    \
    ROW(GETACTIVEATTRIB, GetActiveAttrib)                                                                    \
    ROW(GETACTIVEUNIFORM, GetActiveUniform)                                                                  \
    ROW(GETACTIVEUNIFORMBLOCKNAME, GetActiveUniformBlockName)                                                \
    ROW(GETATTRIBLOCATION, GetAttribLocation)                                                                \
    ROW(GETERROR, GetError)                                                                                  \
    ROW(GETPROGRAMINFOLOG, GetProgramInfoLog)                                                                \
    ROW(GETPROGRAMIV, GetProgramiv)                                                                          \
    ROW(GETSHADERINFOLOG, GetShaderInfoLog)                                                                  \
    ROW(GETSHADERIV, GetShaderiv)                                                                            \
    ROW(GETSTRING, GetString)                                                                                \
    ROW(GETUNIFORMLOCATION, GetUniformLocation)                                                              \
    ROW(LINKPROGRAM, LinkProgram)                                                                            \
    ROW(READPIXELS, ReadPixels)                                                                              \
    ROW(SHADERSOURCE, ShaderSource)                                                                          \
    ROW(TEXIMAGE1D, TexImage1D)                                                                              \
    ROW(TEXIMAGE2D, TexImage2D)                                                                              \
    ROW(TEXIMAGE3D, TexImage3D)                                                                              \
    ROW(TEXPARAMETERI, TexParameteri)                                                                        \
    ROW(UNIFORM1FV, Uniform1fv)                                                                              \
    ROW(UNIFORM1I, Uniform1i)                                                                                \
    ROW(UNIFORM1IV, Uniform1iv)                                                                              \
    ROW(UNIFORM2FV, Uniform2fv)                                                                              \
    ROW(UNIFORM2IV, Uniform2iv)                                                                              \
    ROW(UNIFORM3FV, Uniform3fv)                                                                              \
    ROW(UNIFORM3IV, Uniform3iv)                                                                              \
    ROW(UNIFORM4FV, Uniform4fv)                                                                              \
    ROW(UNIFORM4IV, Uniform4iv)                                                                              \
    ROW(UNIFORMBLOCKBINDING, UniformBlockBinding)                                                            \
    ROW(UNIFORMMATRIX2FV, UniformMatrix2fv)                                                                  \
    ROW(UNIFORMMATRIX3FV, UniformMatrix3fv)                                                                  \
    ROW(UNIFORMMATRIX4FV, UniformMatrix4fv)                                                                  \
    ROW(USEPROGRAM, UseProgram)                                                                              \
    ROW(VERTEXATTRIBIPOINTER, VertexAttribIPointer)                                                          \
    ROW(VERTEXATTRIBPOINTER, VertexAttribPointer)                                                            \
    ROW(VIEWPORT, Viewport)

struct GlDriver::Functions {
#define DECLARE_FUNCTION(type, name) PFNGL##type##PROC name = nullptr;
    PROGRAM_TESTING_GL_FUNCTIONS(DECLARE_FUNCTION)
#undef DECLARE_FUNCTION

    explicit Functions(const Context& context) {
#define FIND_FUNCTION(type, name) name = reinterpret_cast<PFNGL##type##PROC>(context.function("gl" #name));
        PROGRAM_TESTING_GL_FUNCTIONS(FIND_FUNCTION)
#undef FIND_FUNCTION
    }
};

namespace {

constexpr GLenum kTextureTargets[] = {GL_TEXTURE_1D, GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP,
                                      GL_TEXTURE_RECTANGLE};

template <typename Entry>
const Entry* findNamed(const std::vector<Entry>& entries, const std::string& name) {
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.name == name; });
    return found == entries.end() ? nullptr : &*found;
}

std::string missingReason;

} // namespace

// ---- The driver ----

GlDriver* GlDriver::get() {
    // Lives as long as the process: a driver that is unloaded before its end leaves blocks behind that
    // look lost.
    static GlDriver* const shared = new GlDriver;
    return missingReason.empty() ? shared : nullptr;
}

const std::string& GlDriver::whyMissing() {
    return missingReason;
}

GlDriver::GlDriver() : fContext(std::make_unique<Context>()) {
    missingReason = fContext->reason;
    if (!missingReason.empty()) {
        return;
    }
    fGl = std::make_unique<Functions>(*fContext);
    fDescription = reinterpret_cast<const char*>(fGl->GetString(GL_RENDERER));
    fDescription += std::string(", GL ") + reinterpret_cast<const char*>(fGl->GetString(GL_VERSION));
    unsigned textures[2];
    fGl->GenTextures(2, textures);
    fGl->BindTexture(GL_TEXTURE_2D, textures[0]);
    fGl->TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, kMaxSide, kMaxSide, 0, GL_RGBA, GL_FLOAT, nullptr);
    fGl->BindTexture(GL_TEXTURE_2D, textures[1]);
    fGl->TexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT32F, kMaxSide, kMaxSide, 0, GL_DEPTH_COMPONENT,
                    GL_FLOAT, nullptr);
    fGl->GenFramebuffers(1, &fTarget);
    fGl->BindFramebuffer(GL_FRAMEBUFFER, fTarget);
    fGl->FramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[0], 0);
    fGl->FramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, textures[1], 0);
    if (fGl->CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        missingReason = "the driver draws into no floats: " + fDescription;
    }
    fGl->Enable(GL_DEPTH_TEST); // without the test nothing writes the depth
    fGl->DepthFunc(GL_ALWAYS);
}

std::string GlDriver::description() const {
    return fDescription;
}

unsigned GlDriver::link(const ShaderPair& pair, std::string& log) {
    const unsigned program = fGl->CreateProgram();
    const auto addStage = [&](GLenum stage, const std::string& text) {
        const unsigned shader = fGl->CreateShader(stage);
        const char* const source = text.c_str();
        int done = 0;
        fGl->ShaderSource(shader, 1, &source, nullptr);
        fGl->CompileShader(shader);
        fGl->GetShaderiv(shader, GL_COMPILE_STATUS, &done);
        if (!done) {
            char message[4096] = "";
            fGl->GetShaderInfoLog(shader, sizeof message, nullptr, message);
            log += message;
        }
        fGl->AttachShader(program, shader);
        fGl->DeleteShader(shader); // lives as long as the program
        return done != 0;
    };
    const bool vertex = addStage(GL_VERTEX_SHADER, pair.vertex);
    const bool fragment = addStage(GL_FRAGMENT_SHADER, pair.fragment);
    int linked = 0;
    if (vertex && fragment) {
        fGl->LinkProgram(program);
        fGl->GetProgramiv(program, GL_LINK_STATUS, &linked);
        if (!linked) {
            char message[4096] = "";
            fGl->GetProgramInfoLog(program, sizeof message, nullptr, message);
            log += message;
        }
    }
    if (!linked) {
        fGl->DeleteProgram(program);
        return 0;
    }
    return program;
}

void GlDriver::destroy(unsigned program) {
    fGl->DeleteProgram(program);
}

bool GlDriver::draw(unsigned program, const GlDraw& scene, GlPicture& picture, std::string& log) {
    fGl->UseProgram(program);
    std::vector<unsigned> buffers, textures;
    const auto newBuffer = [&](GLenum target, const void* bytes, std::size_t size) {
        buffers.push_back(0);
        fGl->GenBuffers(1, &buffers.back());
        fGl->BindBuffer(target, buffers.back());
        fGl->BufferData(target, static_cast<GLsizeiptr>(size), bytes, GL_STATIC_DRAW);
    };
    unsigned vertexArray = 0;
    fGl->GenVertexArrays(1, &vertexArray);
    fGl->BindVertexArray(vertexArray);

    char name[256];
    int count = 0;
    int size = 0;
    GLenum type = 0;
    fGl->GetProgramiv(program, GL_ACTIVE_ATTRIBUTES, &count);
    for (int i = 0; i < count; ++i) {
        fGl->GetActiveAttrib(program, i, sizeof name, nullptr, &size, &type, name);
        if (std::strncmp(name, "gl_", 3) == 0) {
            continue;
        }
        const GlNumbers* numbers = findNamed(scene.attributes, name);
        if (numbers == nullptr) {
            log += std::string("no values for the attribute ") + name + "\n";
            continue;
        }
        const int location = fGl->GetAttribLocation(program, name);
        fGl->EnableVertexAttribArray(location);
        if (numbers->integer) {
            const std::vector<GLint> values(numbers->values.begin(), numbers->values.end());
            newBuffer(GL_ARRAY_BUFFER, values.data(), values.size() * sizeof(GLint));
            fGl->VertexAttribIPointer(location, numbers->components, GL_INT, 0, nullptr);
        } else {
            const std::vector<float> values(numbers->values.begin(), numbers->values.end());
            newBuffer(GL_ARRAY_BUFFER, values.data(), values.size() * sizeof(float));
            fGl->VertexAttribPointer(location, numbers->components, GL_FLOAT, GL_FALSE, 0, nullptr);
        }
    }

    fGl->GetProgramiv(program, GL_ACTIVE_UNIFORM_BLOCKS, &count);
    for (int i = 0; i < count; ++i) {
        fGl->GetActiveUniformBlockName(program, i, sizeof name, nullptr, name);
        const GlBlock* block = findNamed(scene.blocks, name);
        if (block == nullptr) {
            log += std::string("no bytes for the block ") + name + "\n";
            continue;
        }
        newBuffer(GL_UNIFORM_BUFFER, block->bytes.data(), block->bytes.size());
        fGl->BindBufferBase(GL_UNIFORM_BUFFER, i, buffers.back());
        fGl->UniformBlockBinding(program, i, i);
    }

    fGl->GetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    for (int i = 0; i < count; ++i) {
        fGl->GetActiveUniform(program, i, sizeof name, nullptr, &size, &type, name);
        const int location = fGl->GetUniformLocation(program, name);
        if (location < 0) { // lies in a block
            continue;
        }
        const auto texture =
            std::find_if(scene.textures.begin(), scene.textures.end(),
                         [&](const GlTexture& candidate) { return candidate.sampler == name; });
        if (texture != scene.textures.end()) {
            fGl->ActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(textures.size()));
            textures.push_back(0);
            fGl->GenTextures(1, &textures.back());
            const GLenum target = kTextureTargets[texture->kind];
            fGl->BindTexture(target, textures.back());
            const float* texels = texture->texels.data();
            const int w = texture->width;
            const int h = texture->height;
            if (texture->kind == GlTexture::k1D) {
                fGl->TexImage1D(target, 0, GL_RGBA32F, w, 0, GL_RGBA, GL_FLOAT, texels);
            } else if (texture->kind == GlTexture::k3D) {
                fGl->TexImage3D(target, 0, GL_RGBA32F, w, h, texture->depth, 0, GL_RGBA, GL_FLOAT, texels);
            } else if (texture->kind == GlTexture::kCube) {
                for (int face = 0; face < 6; ++face) {
                    fGl->TexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGBA32F, w, h, 0, GL_RGBA,
                                    GL_FLOAT, texels + std::size_t(4) * face * w * h);
                }
            } else {
                fGl->TexImage2D(target, 0, GL_RGBA32F, w, h, 0, GL_RGBA, GL_FLOAT, texels);
            }
            const bool repeats =
                texture->repeats && texture->kind != GlTexture::kRect && texture->kind != GlTexture::kCube;
            const int wrap = repeats ? GL_REPEAT : GL_CLAMP_TO_EDGE;
            for (const GLenum parameter : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T, GL_TEXTURE_WRAP_R}) {
                fGl->TexParameteri(target, parameter, wrap);
            }
            for (const GLenum parameter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER}) {
                fGl->TexParameteri(target, parameter, GL_LINEAR);
            }
            fGl->Uniform1i(location, static_cast<int>(textures.size()) - 1);
            continue;
        }
        const GlNumbers* numbers = findNamed(scene.uniforms, name);
        if (numbers == nullptr) {
            log += std::string("no values for the uniform ") + name + "\n";
            continue;
        }
        const std::vector<float> floats(numbers->values.begin(), numbers->values.end());
        if (numbers->side > 1) {
            const auto upload = numbers->side == 2   ? fGl->UniformMatrix2fv
                                : numbers->side == 3 ? fGl->UniformMatrix3fv
                                                     : fGl->UniformMatrix4fv;
            upload(location, 1, GL_FALSE, floats.data());
        } else if (numbers->integer) {
            const std::vector<GLint> ints(numbers->values.begin(), numbers->values.end());
            const PFNGLUNIFORM1IVPROC upload[] = {fGl->Uniform1iv, fGl->Uniform2iv, fGl->Uniform3iv,
                                                  fGl->Uniform4iv};
            upload[numbers->components - 1](location, 1, ints.data());
        } else {
            const PFNGLUNIFORM1FVPROC upload[] = {fGl->Uniform1fv, fGl->Uniform2fv, fGl->Uniform3fv,
                                                  fGl->Uniform4fv};
            upload[numbers->components - 1](location, 1, floats.data());
        }
    }

    const float untouched[] = {kUntouched, kUntouched, kUntouched, kUntouched};
    const float farPlane = 1;
    fGl->Viewport(0, 0, scene.width, scene.height);
    fGl->ClearBufferfv(GL_COLOR, 0, untouched);
    fGl->ClearBufferfv(GL_DEPTH, 0, &farPlane);
    if (log.empty()) {
        fGl->DrawArrays(scene.shape == GlDraw::kPoints ? GL_POINTS : GL_TRIANGLES, 0, scene.vertices);
    }
    const std::size_t pixels = std::size_t(1) * scene.width * scene.height;
    picture.rgba.resize(4 * pixels);
    picture.depth.resize(pixels);
    fGl->ReadPixels(0, 0, scene.width, scene.height, GL_RGBA, GL_FLOAT, picture.rgba.data());
    fGl->ReadPixels(0, 0, scene.width, scene.height, GL_DEPTH_COMPONENT, GL_FLOAT, picture.depth.data());
    if (const GLenum error = fGl->GetError(); error != GL_NO_ERROR) {
        log += "GL error " + std::to_string(error) + "\n";
    }
    fGl->DeleteBuffers(static_cast<int>(buffers.size()), buffers.data());
    fGl->DeleteTextures(static_cast<int>(textures.size()), textures.data());
    fGl->DeleteVertexArrays(1, &vertexArray);
    return log.empty();
}

bool drawPair(GlDriver& driver, const ShaderPair& pair, const GlDraw& scene, GlPicture& picture,
              std::string& log) {
    const unsigned program = driver.link(pair, log);
    if (program == 0) {
        return false;
    }
    const bool drawn = driver.draw(program, scene, picture, log);
    driver.destroy(program);
    return drawn;
}

} // namespace programTesting
