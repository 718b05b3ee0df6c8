#include "base/LPathName.h"

#include "base/LFormatText.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(LPathName, FolderNameAndExtensionAtTheEdges) {
    EXPECT_EQ(LPathFolder("/a/b/c.wav"), "/a/b");
    EXPECT_EQ(LPathFolder("/c.wav"), "/");
    EXPECT_EQ(LPathFolder("c.wav"), ".");
    EXPECT_EQ(LPathFileName("/a/b/c.wav"), "c.wav");
    EXPECT_EQ(LPathFileName("c.wav"), "c.wav");
    EXPECT_EQ(LPathExtension("/a/Song.FLAC"), ".flac");
    EXPECT_EQ(LPathExtension("/a.b/noext"), "");  // a point in a folder name is no extension
    EXPECT_EQ(LPathExtension("x.tar.GZ"), ".gz");
    EXPECT_EQ(LPathExtension("/a/.hidden"), ".hidden");
}

TEST(LFormatText, GrowsToWhatTheTextNeeds) {
    const std::string path(3000, 'p');
    EXPECT_EQ(LFormatText("Datei \"%s\" fehlt.", path.c_str()), "Datei \"" + path + "\" fehlt.");
    EXPECT_EQ(LFormatText("%d Kanäle", 3), "3 Kanäle");
    EXPECT_EQ(LFormatText("%s", ""), "");
}

}  // namespace
