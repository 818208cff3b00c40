#include <cerrno>
#include <set>
#include "testSupport.h"

namespace {
// The listing idiom: preaddir once, then ++ while the object compares equal to 0.
std::set<std::string> listAll(PDir& dir)
{
    std::set<std::string> names;
    for (dir.preaddir(); dir == PRES_OK; dir++)
        names.insert(narrowed(dir.getEntry()));
    return names;
}

// A tree under `root`: directories end in '/', everything else is a file.
void makeTree(const std::string& root, std::initializer_list<std::string> entries)
{
    mkdir(root.c_str(), 0700);
    for (const std::string& entry : entries)
        entry.back() == '/' ? (void)mkdir((root + "/" + entry).c_str(), 0700) : writeFile(root + "/" + entry, "x");
}

const char* const kUnconvertibleName = "\xe9"; // no character in the C locale
} // namespace

TEST(PDir, ListingAndItsStates)
{
    TempDir tmp;
    // The directory path reaches the system as written, backslash included.
    makeTree(tmp.path(), {"a.txt", "b.log", "x\\y/", "x\\y/back", "x/", "x/y/", "x/y/slash"});
    PDir all(widen(tmp.path()), L""), verbatim(widen(tmp.file("x\\y")), L"*"), literal(widen(tmp.path()), L"x\\y");
    EXPECT_EQ(listAll(all), (std::set<std::string>{".", "..", "a.txt", "b.log", "x", "x\\y"}));
    EXPECT_EQ(listAll(verbatim), (std::set<std::string>{".", "..", "back"}));
    EXPECT_EQ(listAll(literal), std::set<std::string>{"x\\y"}); // no escapes in patterns

    PDir dir, missing(widen(tmp.file("missing")), L"");
    EXPECT_TRUE(missing.getResult() == PDIR_ERR_NOT_OPEN && missing != PRES_OK && missing.preaddir() == PDIR_ERR_NOT_OPEN);
    EXPECT_EQ(PDir(L"\x4e2d", L"").getResult(), PDIR_ERR_NOT_OPEN);
    missing.clear(); // forgets the kept pattern too
    EXPECT_TRUE(missing.popen(widen(tmp.path()), L"b*") == PRES_OK && listAll(missing) == std::set<std::string>{"b.log"});
    EXPECT_TRUE(dir.preaddir() == PDIR_ERR_NOT_OPEN && ++dir == PDIR_ERR_NOT_OPEN && dir.pclose() == PRES_OK);
    // A failed open keeps its pattern: the next open lists the new path with it.
    EXPECT_EQ(dir.popen(widen(tmp.file("missing")), L"*.log"), PDIR_ERR_NOT_OPEN);
    ASSERT_EQ(dir.popen(widen(tmp.path()), L"*.txt"), PRES_OK);
    EXPECT_EQ(++dir, PDIR_ERR_NOT_OPEN); // stepping never starts a listing
    EXPECT_TRUE(dir.preaddir() == PRES_OK && dir.getEntry() == L"b.log");
    EXPECT_TRUE(dir.popen(widen(tmp.path()), L"") == PDIR_ERR_ALREADY_OPEN && dir++ == PRES_READ && dir.pclose() == PRES_OK);
    EXPECT_TRUE(dir.popen(widen(tmp.path()), L"a*") == PRES_OK && listAll(dir) == std::set<std::string>{"a.txt"});

    // Names and patterns the locale cannot convert.
    std::string odd = tmp.file("odd");
    makeTree(odd, {kUnconvertibleName});
    PDir oddNames(widen(odd), L"?"), oddPattern(widen(odd), L"\x4e2d");
    while (oddNames.preaddir() == PRES_OK)
        EXPECT_TRUE(oddNames.getEntry() == L".");
    EXPECT_TRUE(oddNames.getResult() == PRES_CONVERSION && oddPattern.preaddir() == PRES_CONVERSION);
}

TEST(PDir, CreateAndRemove)
{
    TempDir tmp;
    PString sub = widen(tmp.file("sub"));
    mode_t mask = umask(0);
    const std::pair<PString, int> creates[] = {{sub, PRES_OK}, {sub, PDIR_ERR_EXISTS},
                                               {widen(tmp.file("no/parent")), PDIR_ERR_CREATE},
                                               {L"\x4e2d", PDIR_ERR_CREATE}};
    for (const auto& c : creates)
        EXPECT_EQ(PDir::pcreate(c.first), c.second) << narrowed(c.first);
    umask(mask);
    struct stat info;
    EXPECT_TRUE(stat(tmp.file("sub").c_str(), &info) == 0 && (info.st_mode & 0777) == 0775);
    // errno is consulted before mkdir's own result.
    errno = EEXIST;
    EXPECT_EQ(PDir::pcreate(widen(tmp.file("fresh"))), PDIR_ERR_EXISTS);
    writeFile(tmp.file("sub/f"), "");
    const std::pair<PString, int> deletes[] = {{L"", PRES_INVALID_ARG}, {sub, PDIR_ERR_DELETE},
                                               {widen(tmp.file("none")), PDIR_ERR_NOT_FOUND},
                                               {L"\x4e2d", PDIR_ERR_DELETE}, {widen(tmp.file("fresh")), PRES_OK}};
    for (const auto& c : deletes)
        EXPECT_EQ(PDir::pdelete(c.first), c.second) << narrowed(c.first);

    std::string root = tmp.file("d"), outside = tmp.file("outside");
    makeTree(root, {".f1", "a/", "a/f2", "a/b/", "a/b/f3", "a/b/f4", "empty/"});
    writeFile(tmp.file("plain"), "x");
    CapturedStderr err;
    EXPECT_EQ(PFile::removeAll(widen(tmp.file("missing"))), PDIR_ERR_NOT_FOUND);
    EXPECT_EQ(PFile::removeAll(widen(tmp.file("plain"))), PRES_INVALID_ARG);
    EXPECT_EQ(PFile::removeAll(widen(tmp.path() + "\\d/")), PRES_OK);

    // A link to a directory is followed: the target is emptied and survives,
    // the link itself goes by unlink after rmdir refuses it.
    makeTree(outside, {"lost"});
    makeTree(root, {});
    ASSERT_EQ(symlink(outside.c_str(), (root + "/link").c_str()), 0);
    EXPECT_EQ(PFile::removeAll(widen(root)), PRES_OK);
    EXPECT_TRUE(!pathExists(root) && pathExists(outside) && !pathExists(outside + "/lost"));

    // A dangling link passes the directory check, then does not exist.
    makeTree(root, {});
    ASSERT_EQ(symlink(tmp.file("nowhere").c_str(), (root + "/dangling").c_str()), 0);
    EXPECT_TRUE(PFile::removeAll(widen(root)) == PDIR_ERR_NOT_FOUND && pathExists(root + "/dangling"));
    // An unconvertible name ends the listing; the directory then stays.
    std::string odd = tmp.file("odd");
    makeTree(odd, {kUnconvertibleName});
    EXPECT_EQ(PFile::removeAll(widen(odd)), PFILE_ERR_DELETE);

    // One trace line per file and per directory: four of each in the tree, then
    // the linked directory's file, the link and its parent, then the odd one.
    std::string text = err.text();
    EXPECT_EQ(countOccurrences(text, "removeAll: ## rm ["), 4 + 1);
    EXPECT_EQ(countOccurrences(text, "removeAll: ## rmdir ["), 4 + 2 + 1);
    EXPECT_EQ(countOccurrences(text, "removeAll: ## rmdir [" + root + "]\n"), 2);
    for (const std::string& line :
         {"removeAll: argument[" + tmp.file("missing") + "] does not exist, res[0]\n",
          "removeAll: argument[" + tmp.file("plain") + "] is not a valid directory, res[0]\n",
          "removeAll: PDir::pdelete (" + root + "/link) failed, res[-626]\n",
          "removeAll: removeAll(" + root + "/dangling) failed, res[-628]\n",
          "removeAll: PDir::pdelete (" + odd + ") failed, res[-626]\n",
          "removeAll: PFile::pdelete (" + odd + ") failed, res[-619]\n"})
        EXPECT_EQ(countOccurrences(text, line), 1) << line;
}
