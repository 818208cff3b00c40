#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>

#include <gtest/gtest.h>

#include "qrixPDir.h"
#include "qrixPFile.h"
#include "testSupport.h"

namespace {

PString wide(const std::string& s) { return PString(s.c_str()); }

// The listing idiom: preaddir once, then ++ while the object compares equal to 0.
std::set<std::string> listAll(PDir& dir)
{
    std::set<std::string> names;
    for (dir.preaddir(); dir == PRES_OK; ++dir)
        names.insert(std::string(dir.getEntry().ptr(), dir.getEntry().ptr() + dir.getEntry().len()));
    return names;
}

// A tree under `root`: directories end in '/', everything else is a file.
void makeTree(const std::string& root, std::initializer_list<std::string> entries)
{
    mkdir(root.c_str(), 0700);
    for (const std::string& entry : entries)
        entry.back() == '/' ? (void)mkdir((root + "/" + entry).c_str(), 0700) : writeFile(root + "/" + entry, "x");
}

} // namespace

TEST(PDir, ListingAndItsStates)
{
    TempDir tmp;
    makeTree(tmp.path(), {"a.txt", "b.log", "x\\y"});
    // The backslash is an ordinary character in patterns.
    PDir all(wide(tmp.path()), L""), literal(wide(tmp.path()), L"x\\y");
    EXPECT_EQ(listAll(all), (std::set<std::string>{".", "..", "a.txt", "b.log", "x\\y"}));
    EXPECT_EQ(listAll(literal), std::set<std::string>{"x\\y"});

    PDir dir;
    EXPECT_EQ(dir.preaddir(), PDIR_ERR_NOT_OPEN);
    // A failed open keeps its pattern: the next open lists the new path with it.
    EXPECT_EQ(dir.popen(wide(tmp.file("missing")), L"*.log"), PDIR_ERR_NOT_OPEN);
    EXPECT_EQ(dir.popen(wide(tmp.path()), L"*.txt"), PRES_OK);
    EXPECT_EQ(dir++, PDIR_ERR_NOT_OPEN);
    ASSERT_EQ(dir.preaddir(), PRES_OK);
    EXPECT_TRUE(dir.getEntry() == L"b.log");
    EXPECT_EQ(dir.popen(wide(tmp.path()), L""), PDIR_ERR_ALREADY_OPEN);
    EXPECT_EQ(dir++, PRES_READ);
    EXPECT_EQ(dir.pclose(), PRES_OK);
    EXPECT_EQ(dir.popen(wide(tmp.path()), L"a*"), PRES_OK);
    EXPECT_EQ(listAll(dir), std::set<std::string>{"a.txt"});
}

TEST(PDir, CreateAndRemove)
{
    TempDir tmp;
    PString sub = wide(tmp.file("sub"));
    EXPECT_EQ(PDir::pcreate(sub), PRES_OK);
    EXPECT_EQ(PDir::pcreate(wide(tmp.file("no/parent"))), PDIR_ERR_CREATE);
    // errno is consulted before mkdir's own result.
    errno = EEXIST;
    EXPECT_EQ(PDir::pcreate(wide(tmp.file("fresh"))), PDIR_ERR_EXISTS);
    writeFile(tmp.file("sub/f"), "");
    EXPECT_EQ(PDir::pdelete(sub), PDIR_ERR_DELETE);
    EXPECT_EQ(PDir::pdelete(wide(tmp.file("none"))), PDIR_ERR_NOT_FOUND);

    std::string root = tmp.file("d"), outside = tmp.file("outside");
    makeTree(root, {"f1", "a/", "a/f2", "a/b/", "a/b/f3", "a/b/f4", "empty/"});
    writeFile(tmp.file("plain"), "x");
    CapturedStderr err;
    EXPECT_EQ(PFile::removeAll(wide(tmp.file("missing"))), PDIR_ERR_NOT_FOUND);
    EXPECT_EQ(PFile::removeAll(wide(tmp.file("plain"))), PRES_INVALID_ARG);
    EXPECT_EQ(PFile::removeAll(wide(root + "/")), PRES_OK);

    // A link to a directory is followed: the target is emptied and survives,
    // the link itself goes by unlink after rmdir refuses it.
    makeTree(outside, {"lost"});
    makeTree(root, {});
    ASSERT_EQ(symlink(outside.c_str(), (root + "/link").c_str()), 0);
    EXPECT_EQ(PFile::removeAll(wide(root)), PRES_OK);
    EXPECT_FALSE(pathExists(root));
    EXPECT_TRUE(pathExists(outside) && !pathExists(outside + "/lost"));

    // A dangling link passes the directory check, then does not exist.
    makeTree(root, {});
    ASSERT_EQ(symlink(tmp.file("nowhere").c_str(), (root + "/dangling").c_str()), 0);
    EXPECT_EQ(PFile::removeAll(wide(root)), PDIR_ERR_NOT_FOUND);
    EXPECT_TRUE(pathExists(root + "/dangling"));

    // One trace line per file and per directory: four of each in the tree, then
    // the linked directory's file, the link and its parent.
    std::string text = err.text();
    EXPECT_EQ(countOccurrences(text, "removeAll: ## rm ["), 4 + 1);
    EXPECT_EQ(countOccurrences(text, "removeAll: ## rmdir ["), 4 + 2);
    EXPECT_NE(text.find("removeAll: PDir::pdelete (" + root + "/link) failed, res[-626]\n"), std::string::npos);
}
