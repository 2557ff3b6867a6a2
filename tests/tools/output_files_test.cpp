#include "qvshade/Failure.h"
#include "qvshade/OutputFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace fs = std::filesystem;

namespace {

/// A folder with the given files and nothing else.
class OutputFilesTest : public testing::Test {
protected:
    OutputFilesTest() {
        fs::remove_all(fFolder);
        fs::create_directories(fFolder);
    }

    std::string path(const std::string& name) const { return (fFolder / name).string(); }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
    }

    /// Names and texts of everything in the folder; a folder has the text "/".
    std::map<std::string, std::string> content() const {
        std::map<std::string, std::string> result;
        for (const fs::directory_entry& entry : fs::directory_iterator(fFolder)) {
            std::ifstream stream(entry.path(), std::ios::binary);
            result[entry.path().filename().string()] =
                entry.is_directory() ? "/" : std::string(std::istreambuf_iterator<char>(stream), {});
        }
        return result;
    }

    const fs::path fFolder = fs::path(QV_TEST_OUTPUT) / "output_files";
};

using Content = std::map<std::string, std::string>;

} // namespace

TEST_F(OutputFilesTest, AppearTogether) {
    write("a.vert", "old");
    write("qvshade-0.tmp", "somebody else's");
    OutputFiles files;
    files.add(path("a.vert"), "new\n");
    std::ofstream(files.reserve(path("a.png")), std::ios::binary) << "picture";
    EXPECT_EQ(content()["a.vert"], "old");
    files.commit();
    EXPECT_EQ(content(),
              (Content{{"a.vert", "new\n"}, {"a.png", "picture"}, {"qvshade-0.tmp", "somebody else's"}}));
}

TEST_F(OutputFilesTest, FailTogether) {
    write("a.vert", "old");
    const auto adding = [&](const std::string& last) {
        OutputFiles files;
        files.add(path("a.vert"), "new");
        files.add(path("b.vert"), "new");
        files.add(path(last), "new");
        if (last == "late.frag") { // something takes the place before the names are given
            fs::create_directories(path(last) + "/inside");
        }
        files.commit();
    };
    for (const std::string last : {"nowhere/a.frag", "folder", "read-only", "late.frag"}) {
        fs::create_directories(path("folder"));
        write("read-only", "kept");
        fs::permissions(path("read-only"), fs::perms::owner_read);
        try {
            adding(last);
            ADD_FAILURE() << last << " is written";
        } catch (const Failure& error) {
            EXPECT_EQ(error.status, kBadOutput);
            EXPECT_EQ(error.message, "qvshade: cannot write '" + path(last) + "'\n");
        }
        fs::permissions(path("read-only"), fs::perms::owner_all);
        fs::remove_all(path("late.frag"));
        EXPECT_EQ(content(), (Content{{"a.vert", "old"}, {"folder", "/"}, {"read-only", "kept"}})) << last;
    }
}

#if !defined(_WIN32)
TEST_F(OutputFilesTest, KeepPermissionsAndLinks) {
    write("script", "old");
    fs::permissions(path("script"), fs::perms::owner_all);
    fs::create_symlink("script", path("link"));
    fs::create_symlink("later", path("dangling"));
    OutputFiles files;
    files.add(path("link"), "new");
    files.add(path("dangling"), "made");
    files.commit();
    EXPECT_EQ(fs::status(path("script")).permissions(), fs::perms::owner_all);
    EXPECT_TRUE(fs::is_symlink(path("link")) && fs::is_symlink(path("dangling")));
    EXPECT_EQ(content(),
              (Content{{"script", "new"}, {"link", "new"}, {"later", "made"}, {"dangling", "made"}}));
}
#endif
