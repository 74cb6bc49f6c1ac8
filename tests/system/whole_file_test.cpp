// Files on a real disk: what stands where, before and after.
#include "system/whole_file.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> names_in(const ScratchFolder& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder.path(""))) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

std::error_code write_whole(const std::string& path, const std::string& text, bool sync = false) {
  WholeFile file;
  const std::error_code failure = file.open(path.c_str());
  if (failure) {
    return failure;
  }
  file.stream() << text;
  return file.commit(sync);
}

TEST(WholeFile, StandsAtItsPathOnlyWhenWhole) {
  const ScratchFolder folder;
  const std::string path = folder.write("out.csv", {'o', 'l', 'd'});
  {
    WholeFile abandoned;
    ASSERT_FALSE(abandoned.open(path.c_str()));
    abandoned.stream() << "half";
    EXPECT_EQ(folder.read("out.csv"), "old");
    EXPECT_THAT(names_in(folder), ::testing::Contains(::testing::ContainsRegex("^out.csv.part-.+-[0-9]+-0$")));
  }
  EXPECT_THAT(names_in(folder), ::testing::ElementsAre("out.csv"));
  EXPECT_FALSE(write_whole(path, "new", true));
  EXPECT_EQ(folder.read("out.csv"), "new");
  EXPECT_FALSE(write_whole(folder.path(std::string(255, 'x')), "long"));
  EXPECT_EQ(folder.read(std::string(255, 'x')), "long");
  EXPECT_EQ(names_in(folder).size(), 2U);
}

TEST(WholeFile, KeepsLinksAndModes) {
  const ScratchFolder folder;
  const std::string target = folder.write("target", {'o'});
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::others_read);
  fs::create_directory(folder.path("sub"));
  fs::create_symlink("../target", folder.path("sub/link"));
  fs::create_symlink("sub/link", folder.path("link"));
  fs::create_symlink("nothing yet", folder.path("dangling"));
  EXPECT_FALSE(write_whole(folder.path("link"), "new"));
  EXPECT_FALSE(write_whole(folder.path("dangling"), "made"));
  EXPECT_TRUE(fs::is_symlink(folder.path("link")) && fs::is_symlink(folder.path("dangling")));
  EXPECT_EQ(folder.read("target") + folder.read("nothing yet"), "newmade");
  EXPECT_EQ(fs::status(target).permissions(), fs::perms(0604));
}

/// With an entry for user 12345 that may read and write, which is shown as the group's bits.
constexpr unsigned char kAccessList[] = {2,    0, 0, 0,                           // version
                                         1,    0, 6, 0, 0xff, 0xff, 0xff, 0xff,   // owner rw
                                         2,    0, 6, 0, 0x39, 0x30, 0,    0,      // user 12345 rw
                                         4,    0, 0, 0, 0xff, 0xff, 0xff, 0xff,   // group none
                                         0x10, 0, 6, 0, 0xff, 0xff, 0xff, 0xff,   // at most rw
                                         0x20, 0, 0, 0, 0xff, 0xff, 0xff, 0xff};  // others none

TEST(WholeFile, KeepsAccessLists) {
  const ScratchFolder folder;
  const std::string path = folder.write("out.csv", {'o'});
  if (setxattr(path.c_str(), "system.posix_acl_access", kAccessList, sizeof kAccessList, 0) != 0) {
    GTEST_SKIP() << "the file system has none";
  }
  EXPECT_FALSE(write_whole(path, "new"));
  EXPECT_EQ(folder.read("out.csv"), "new");
  std::array<unsigned char, 256> list{};
  const ssize_t size = getxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size());
  ASSERT_EQ(size, static_cast<ssize_t>(sizeof kAccessList));
  EXPECT_TRUE(std::equal(std::begin(kAccessList), std::end(kAccessList), list.begin()));
}

TEST(WholeFile, ReplacesNothingThatAppearedMeanwhile) {
  const ScratchFolder folder;
  const std::string path = folder.path("out.csv");
  WholeFile file;
  ASSERT_FALSE(file.open(path.c_str()));
  file.stream() << "ours";
  ASSERT_EQ(folder.write("out.csv", {'t', 'h', 'e', 'i', 'r', 's'}), path);
  EXPECT_EQ(file.commit(false), std::errc::file_exists);
  EXPECT_EQ(folder.read("out.csv"), "theirs");
  WholeFile kept;
  EXPECT_EQ(kept.open(path.c_str(), Existing::kKeep), std::errc::file_exists);
  WholeFile other;
  ASSERT_FALSE(other.open(path.c_str()));
  fs::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(other.commit(false), std::errc::operation_not_supported) << "looked at again";
  EXPECT_EQ(names_in(folder).size(), 1U);
}

TEST(WholeFile, RefusesWhatItCannotReplaceAndTellsWhy) {
  const ScratchFolder folder;
  fs::create_symlink("round", folder.path("round"));
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  const std::pair<std::string, std::errc> cases[] = {
      {"", std::errc::no_such_file_or_directory},
      {folder.path(""), std::errc::is_a_directory},
      {folder.path("missing/out.csv"), std::errc::no_such_file_or_directory},
      {folder.path("pipe"), std::errc::operation_not_supported},
      {"/dev/null", std::errc::operation_not_supported},
      {folder.path("round"), std::errc::too_many_symbolic_link_levels},
      {"/proc/out.csv", std::errc::no_such_file_or_directory},
  };
  for (const auto& [path, reason] : cases) {
    EXPECT_EQ(write_whole(path, "x"), reason) << path;
  }
  EXPECT_EQ(names_in(folder).size(), 2U) << "nothing is left";
}

TEST(WholeFile, AFailedWriteLeavesWhatWasThere) {
  const ScratchFolder folder;
  const std::string path = folder.write("out.csv", {'o', 'l', 'd'});
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{4096, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::error_code failure = write_whole(path, std::string(100000, 'x'));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(failure, std::errc::file_too_large);
  EXPECT_EQ(folder.read("out.csv"), "old");
  EXPECT_EQ(names_in(folder).size(), 1U);
}

TEST(WholeFile, SeveralAppearTogetherOrNotAtAll) {
  const ScratchFolder folder;
  ASSERT_EQ(folder.write("replaced.csv", {'o', 'l', 'd'}), folder.path("replaced.csv"));
  const auto write_three = [&] {
    std::deque<WholeFile> files(3);
    std::size_t next = 0;
    for (const char* name : {"replaced.csv", "added.csv", "last.csv"}) {
      EXPECT_FALSE(files[next].open(folder.path(name).c_str()));
      files[next].stream() << "new";
      EXPECT_FALSE(files[next++].finish(false));
    }
    fs::create_directory(folder.path("last.csv"));  // too late for a check
    const TogetherFailure failure = appear_together(files, false);
    fs::remove(folder.path("last.csv"));
    return failure;
  };
  const TogetherFailure failure = write_three();
  EXPECT_TRUE(failure.failure);
  EXPECT_EQ(failure.file, 2U);
  EXPECT_EQ(folder.read("replaced.csv"), "old");
  EXPECT_THAT(names_in(folder), ::testing::ElementsAre("replaced.csv"));
}

}  // namespace
}  // namespace vortena::testing
