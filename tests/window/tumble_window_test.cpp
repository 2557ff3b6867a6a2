#include "window/windowTesting.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <numeric>
#include <vector>

namespace {

/// What the screen shows of a client area, 32 bits a pixel, bottom row first.
struct Screenshot {
    explicit Screenshot(HWND window) {
        RECT area = {};
        GetClientRect(window, &area);
        POINT corner = {0, 0};
        ClientToScreen(window, &corner);
        info = {sizeof info, area.right, area.bottom, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        const HDC screen = GetDC(nullptr);
        const HDC memory = CreateCompatibleDC(screen);
        void* bits = nullptr;
        const HBITMAP bitmap =
            CreateDIBSection(screen, reinterpret_cast<BITMAPINFO*>(&info), DIB_RGB_COLORS, &bits, nullptr, 0);
        const HGDIOBJ before = SelectObject(memory, bitmap);
        BitBlt(memory, 0, 0, area.right, area.bottom, screen, corner.x, corner.y, SRCCOPY);
        GdiFlush();
        const auto* first = static_cast<const std::uint32_t*>(bits);
        pixels.assign(first, first + (bits ? area.right * area.bottom : 0));
        SelectObject(memory, before);
        DeleteObject(bitmap);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
    }

    /// How many pixels of a scene on its background, in the lower left corner, are not background.
    std::ptrdiff_t drawn() const {
        return std::count_if(pixels.begin(), pixels.end(),
                             [&](auto pixel) { return pixels[0] == kBackground && pixel != kBackground; });
    }
    /// How many pixels two pictures of the same size do not share.
    int differences(const Screenshot& other) const {
        return pixels.size() != other.pixels.size()
                   ? 0
                   : std::inner_product(pixels.begin(), pixels.end(), other.pixels.begin(), 0, std::plus<>(),
                                        std::not_equal_to<>());
    }
    /// Keeps the picture with the build, for people to look at.
    void save(const std::string& name) const {
        const DWORD size = 4 * pixels.size();
        const DWORD offset = sizeof(BITMAPFILEHEADER) + sizeof info;
        const BITMAPFILEHEADER file = {0x4D42, offset + size, 0, 0, offset};
        std::ofstream out(QV_TEST_OUTPUT + name + ".bmp", std::ios::binary);
        out.write(reinterpret_cast<const char*>(&file), sizeof file);
        out.write(reinterpret_cast<const char*>(&info), sizeof info);
        out.write(reinterpret_cast<const char*>(pixels.data()), static_cast<std::streamsize>(size));
    }

    static constexpr std::uint32_t kBackground = 0x12151C; // the example's
    BITMAPINFOHEADER info;
    std::vector<std::uint32_t> pixels;
};

TEST(TumbleExample, DrawsFollowsTheMouseAndEnds) {
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    startup.lpDesktop = OwnDesktop::fsName.data();
    PROCESS_INFORMATION process;
    // Found beside this program.
    ASSERT_TRUE(CreateProcessA(nullptr, std::string("tumble_window.exe").data(), nullptr, nullptr, FALSE, 0,
                               nullptr, nullptr, &startup, &process));

    HWND window = nullptr;
    EXPECT_TRUE(pumpUntil([&] { return (window = FindWindowA("qvGL_SimpleWindow1", nullptr)) != nullptr; }));
    const auto titled = [&](const std::string& mode) {
        return pumpUntil([&] {
            char title[80] = "";
            GetWindowTextA(window, title, sizeof title);
            return title == "qv - " + mode;
        });
    };
    // Waits for a picture of the scene, other than `old`, and keeps it.
    constexpr int kMany = 3000;
    const auto shows = [&](const std::string& name, const Screenshot* old = nullptr) {
        auto shot = std::make_unique<Screenshot>(window);
        EXPECT_TRUE(pumpUntil([&] {
            shot = std::make_unique<Screenshot>(window);
            return shot->drawn() > kMany && (!old || shot->differences(*old) > kMany);
        })) << name;
        shot->save(name);
        return shot;
    };
    auto shot = shows("tumble_window_before");

    const struct {
        const char *mode, *press, *release;
    } drags[] = {
        {"tumble", "mousedown 1", "mouseup 1"},
        {"track", "mousedown 2", "mouseup 2"},
        {"dolly", "mousedown 2 mousedown 1", "mouseup 1 mouseup 2"},
    };
    for (const auto& drag : drags) {
        xdotool("mousemove" + at(window, 200, 240) + drag.press);
        EXPECT_TRUE(titled(drag.mode));
        xdotool("mousemove" + at(window, 290, 130));
        shot = shows("tumble_window_after_" + std::string(drag.mode), shot.get());
        xdotool(drag.release);
        EXPECT_TRUE(titled("drag to tumble, middle to track, both to dolly"));
    }

    xdotool("search --name qv...drag windowsize 500 500");
    EXPECT_TRUE(pumpUntil([&] { return Screenshot(window).info.biHeight == 500; }));
    shows("tumble_window_resized");

    xdotool("mousemove" + at(window, 10, 10) + "key Escape");
    EXPECT_TRUE(pumpUntil([&] { return WaitForSingleObject(process.hProcess, 0) == WAIT_OBJECT_0; }));
    DWORD result = STILL_ACTIVE;
    GetExitCodeProcess(process.hProcess, &result);
    EXPECT_EQ(result, 0U);
    TerminateProcess(process.hProcess, 1); // only matters when it did not end
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

} // namespace
