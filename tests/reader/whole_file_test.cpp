// Files on a real disk: what stands where, before and after.
#include "reader/whole_file.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

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
    const std::error_code failure = appear_together(files, false);
    fs::remove(folder.path("last.csv"));
    return failure;
  };
  EXPECT_TRUE(write_three());
  EXPECT_EQ(folder.read("replaced.csv"), "old");
  EXPECT_THAT(names_in(folder), ::testing::ElementsAre("replaced.csv"));
}

}  // namespace
}  // namespace vortena::testing
