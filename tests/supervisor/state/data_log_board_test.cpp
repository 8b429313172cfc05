// The numbered data logs on the card of a board: numbers, files, closing. What the ID files' shell
// commands do is tested beside this one with the real shell.
#include "supervisor/state/data_log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "supervisor/state/log_card.h"

namespace supervisor_test {
namespace {

using namespace supervisor;  // NOLINT
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DataLog : public LogCard {};

TEST_F(DataLog, AnIdFileGivesItsNumber) {
  struct Row {
    const char* line;
    int32_t number;
  };
  const Row rows[] = {{"0\n", 0},
                      {"17\n", 17},
                      {"17", 17},
                      {"17\n\n", 17},
                      {"  8 9\n", 8},
                      {"12abc\n", 12},
                      {"-5\n", -5},
                      {"abc\n", 0},
                      {"\n", 0},
                      {"2147483647\n", 2147483647},
                      {"2147483648\n", 2147483647},
                      {"-99999999999999999999\n", -2147483647 - 1}};
  for (const Row& row : rows) {
    fake_base::push_shell_line(row.line);
    EXPECT_EQ(id_file_read("/tmp/SD0/GimbalID"), row.number) << row.line;
  }
  EXPECT_EQ(fake_base::commands().front(), kReadGimbalId);
}

TEST_F(DataLog, AnIdFileThatGivesNothingIsMinusOne) {
  EXPECT_EQ(id_file_read("/tmp/SD0/FlyctlID"), -1);
  EXPECT_THAT(fake_base::events(), ElementsAre("read /bin/cat /tmp/SD0/FlyctlID"));
  EXPECT_EQ(id_file_read(nullptr), -1);
  EXPECT_EQ(fake_base::events().size(), 1U);
}

TEST_F(DataLog, AnIdFileIsWrittenByTheShell) {
  EXPECT_EQ(id_file_write("/tmp/SD0/FlyctlID", 12), 0);
  EXPECT_EQ(id_file_write("/tmp/SD0/VBoardID", -3), 0);
  EXPECT_EQ(id_file_write(nullptr, 1), -1);
  EXPECT_THAT(fake_base::commands(),
              ElementsAre("echo '12' > /tmp/SD0/FlyctlID", "echo '-3' > /tmp/SD0/VBoardID"));
}

TEST_F(DataLog, TheNextNumberIsTheStoredOnePlusOne) {
  for (const int32_t kind : {kLogFlightController, kLogGimbal}) {
    EXPECT_EQ(data_log_next_number(kind), 0U);
    for (const auto& [line, next] :
         {std::pair{"0\n", 1U}, {"41\n", 42U}, {"abc\n", 1U}, {"2147483647\n", 2147483648U}}) {
      fake_base::push_shell_line(line);
      EXPECT_EQ(data_log_next_number(kind), next) << line;
    }
  }
  EXPECT_EQ(fake_base::commands().front(), kReadFlyctlId);
  EXPECT_EQ(fake_base::commands().back(), kReadGimbalId);
}

TEST_F(DataLog, NumbersBelowZeroAreNoneForTheVideoBoardOnly) {
  for (const auto& [line, other, vboard] :
       {std::tuple{"-1\n", 0U, 0U}, {"-2\n", 0xFFFFFFFFU, 0U}, {"-10\n", 0xFFFFFFF7U, 0U}}) {
    for (const int32_t kind : {kLogFlightController, kLogGimbal}) {
      fake_base::push_shell_line(line);
      EXPECT_EQ(data_log_next_number(kind), other) << line;
    }
    fake_base::push_shell_line(line);
    EXPECT_EQ(data_log_next_number(kLogVideoBoard), vboard) << line;
  }
  fake_base::push_shell_line("-10\n");
  EXPECT_EQ(data_log_open(kLogFlightController), 0);
  EXPECT_TRUE(exists(flyctl_log(-9)));
  EXPECT_EQ(fake_base::commands().back(), "echo '-9' > /tmp/SD0/FlyctlID");
}

TEST_F(DataLog, TheFirstLogIsNumber0AndTheNextNumber1) {
  EXPECT_EQ(data_log_open(kLogFlightController), 0);
  EXPECT_TRUE(data_log_is_open(kLogFlightController));
  EXPECT_TRUE(exists(flyctl_log(0)));
  fake_base::push_shell_line("0\n");
  EXPECT_EQ(data_log_open(kLogFlightController), 0);
  EXPECT_TRUE(exists(flyctl_log(1)));
  EXPECT_TRUE(exists(flyctl_log(0)));
  EXPECT_THAT(fake_base::commands(), ElementsAre(kReadFlyctlId, "echo '0' > /tmp/SD0/FlyctlID",
                                                 kReadFlyctlId, "echo '1' > /tmp/SD0/FlyctlID"));
}

TEST_F(DataLog, EachKindHasItsFilesAndAnyOtherKindIsTheVideoBoard) {
  EXPECT_EQ(data_log_open(kLogGimbal), 0);
  EXPECT_TRUE(exists(gimbal_log(0)));
  const int32_t others[] = {0, 3, -1, 2147483647};
  int number = 0;
  for (const int32_t kind : others) {
    fake_base::push_shell_line(std::to_string(number) + "\n");
    number++;
    EXPECT_EQ(data_log_open(kind), 0);
    EXPECT_TRUE(exists(vboard_log(number))) << kind;
  }
  EXPECT_FALSE(data_log_is_open(kLogFlightController));
  EXPECT_EQ(fake_base::commands()[0], kReadGimbalId);
  EXPECT_EQ(fake_base::commands()[1], "echo '0' > /tmp/SD0/GimbalID");
  EXPECT_EQ(fake_base::commands()[2], kReadVBoardId);
  EXPECT_EQ(fake_base::commands()[3], "echo '1' > /tmp/SD0/VBoardID");
}

TEST_F(DataLog, NothingOpensWithoutTheMediaFolderOrWhileSuspended) {
  ASSERT_EQ(write(kLogGimbal, "a"), 0);
  std::filesystem::remove("/tmp/SD0/KRVMEDIA");
  fake_base::reset();
  for (const int32_t kind : {0, 1, 2}) EXPECT_EQ(data_log_open(kind), -1) << kind;
  EXPECT_EQ(write(kLogFlightController, "a"), -1);
  std::filesystem::create_directory("/tmp/SD0/KRVMEDIA");
  data_log_suspend(1);
  for (const int32_t kind : {0, 1, 2}) EXPECT_EQ(data_log_open(kind), -1) << kind;
  EXPECT_EQ(write(kLogFlightController, "a"), -1);
  EXPECT_THAT(fake_base::events(), IsEmpty());
  // What is open stays open.
  EXPECT_EQ(write(kLogGimbal, "b"), 0);
  EXPECT_EQ(content(gimbal_log(0)), "ab");
  for (const int32_t value : {0, 2, -1}) {
    data_log_suspend(value);
    EXPECT_EQ(data_log_open(kLogFlightController), 0) << value;
  }
}

TEST_F(DataLog, AFileThatCannotBeOpenedLeavesTheIdFileAlone) {
  std::filesystem::create_directory(flyctl_log(0));
  EXPECT_EQ(data_log_open(kLogFlightController), -1);
  EXPECT_FALSE(data_log_is_open(kLogFlightController));
  EXPECT_EQ(write(kLogFlightController, "a"), -1);
  EXPECT_THAT(fake_base::commands(), ElementsAre(kReadFlyctlId, kReadFlyctlId));
}

TEST_F(DataLog, ANumberThatCannotBeReadForAMomentCostsNoOldLog) {
  for (const int32_t kind : {kLogFlightController, kLogGimbal, kLogVideoBoard}) {
    const char* id = kind == kLogFlightController ? "/tmp/SD0/FlyctlID"
                     : kind == kLogGimbal         ? "/tmp/SD0/GimbalID"
                                                  : "/tmp/SD0/VBoardID";
    std::ofstream(id) << "3\n";
    // Nothing is read of it.
    EXPECT_EQ(data_log_open(kind), -1) << kind;
    EXPECT_FALSE(data_log_is_open(kind));
    fake_base::fail_next_pipe();
    EXPECT_EQ(data_log_open(kind), -1) << kind;
    fake_base::push_shell_line("3\n");
    EXPECT_EQ(data_log_open(kind), 0) << kind;
    // An empty one has no number to lose.
    std::ofstream(id, std::ios::trunc).close();
    EXPECT_EQ(data_log_open(kind), 0) << kind;
  }
  EXPECT_TRUE(exists(gimbal_log(4)));
  EXPECT_TRUE(exists(gimbal_log(0)));
  EXPECT_TRUE(exists(vboard_log(4)));
}

TEST_F(DataLog, AnExistingFileIsOverwrittenInPlace) {
  std::ofstream(gimbal_log(0)) << "0123456789";
  EXPECT_EQ(write(kLogGimbal, "abc"), 0);
  EXPECT_EQ(content(gimbal_log(0)), "abc3456789");
  EXPECT_EQ(write(kLogGimbal, "de"), 0);
  EXPECT_EQ(content(gimbal_log(0)), "abcde56789");
}

TEST_F(DataLog, ANewFileIsReadableByAllAndWrittenSynchronously) {
  const mode_t before = umask(0);
  EXPECT_EQ(data_log_open(kLogGimbal), 0);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(gimbal_log(0).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, mode_t{0644});
  bool found = false;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (std::filesystem::read_symlink(entry.path(), gone) != gimbal_log(0)) continue;
    const int flags = fcntl(std::stoi(entry.path().filename().string()), F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_WRONLY);
    EXPECT_EQ(flags & O_SYNC, O_SYNC);
    EXPECT_EQ(flags & O_APPEND, 0);
    found = true;
  }
  EXPECT_TRUE(found);
}

TEST_F(DataLog, WritesOfNothingAreRefused) {
  for (const int32_t kind : {0, 1, 2}) {
    EXPECT_EQ(data_log_write(kind, nullptr, 1), -1);
    EXPECT_EQ(data_log_write(kind, "a", 0), -1);
    EXPECT_EQ(data_log_write(kind, "a", -1), -1);
  }
  EXPECT_THAT(fake_base::events(), IsEmpty());
}

TEST_F(DataLog, TheFirstWriteOpensAndTheOthersFollow) {
  EXPECT_EQ(write(kLogFlightController, "one\n"), 0);
  EXPECT_EQ(write(kLogFlightController, "two\n"), 0);
  EXPECT_EQ(content(flyctl_log(0)), "one\ntwo\n");
  EXPECT_EQ(fake_base::commands().size(), 2U);
}

TEST_F(DataLog, ReopeningStartsANewFile) {
  write(kLogFlightController, "one\n");
  fake_base::push_shell_line("0\n");
  data_log_open(kLogFlightController);
  write(kLogFlightController, "two\n");
  EXPECT_EQ(content(flyctl_log(0)), "one\n");
  EXPECT_EQ(content(flyctl_log(1)), "two\n");
}

TEST_F(DataLog, AVideoBoardWriteAsksForTheFlightControllersLog) {
  EXPECT_EQ(write(kLogVideoBoard, "lost"), -1);
  EXPECT_TRUE(data_log_is_open(kLogVideoBoard));
  EXPECT_TRUE(exists(vboard_log(0)));
  EXPECT_EQ(content(vboard_log(0)), "");
  EXPECT_EQ(write(kLogVideoBoard, "lost"), -1);
  ASSERT_EQ(data_log_open(kLogFlightController), 0);
  EXPECT_EQ(write(kLogVideoBoard, "kept"), 0);
  EXPECT_EQ(content(vboard_log(0)), "kept");
}

TEST_F(DataLog, AVideoBoardWriteOnAnUnopenedFileIsDropped) {
  ASSERT_EQ(data_log_open(kLogFlightController), 0);
  std::filesystem::create_directory(vboard_log(0));
  // 0 is no log, but somebody's descriptor.
  int pipe[2] = {-1, -1};
  ASSERT_EQ(pipe2(pipe, O_CLOEXEC | O_NONBLOCK), 0);
  const base::Descriptor from(pipe[0]);
  const base::Descriptor standard_input(fcntl(0, F_DUPFD_CLOEXEC, 3));
  ASSERT_EQ(dup2(pipe[1], 0), 0);
  close(pipe[1]);
  EXPECT_EQ(write(kLogVideoBoard, "lost"), 0);
  ASSERT_EQ(dup2(standard_input.get(), 0), 0);
  EXPECT_FALSE(data_log_is_open(kLogVideoBoard));
  char byte = 0;
  EXPECT_EQ(read(from.get(), &byte, 1), 0);
}

TEST_F(DataLog, AFailedWriteClosesTheLogAndTheNextOpensAnother) {
  for (const int32_t kind : {kLogFlightController, kLogGimbal}) {
    ASSERT_EQ(data_log_open(kind), 0);
    data_log_cut(kind);
    EXPECT_TRUE(data_log_is_open(kind));
    EXPECT_EQ(write(kind, "lost"), 0);
    EXPECT_FALSE(data_log_is_open(kind));
    fake_base::push_shell_line("0\n");
    EXPECT_EQ(write(kind, "kept"), 0);
  }
  EXPECT_EQ(content(flyctl_log(0)), "");
  EXPECT_EQ(content(flyctl_log(1)), "kept");
  EXPECT_EQ(content(gimbal_log(0)), "");
  EXPECT_EQ(content(gimbal_log(1)), "kept");
}

TEST_F(DataLog, ACutLogIsClosedOnce) {
  ASSERT_EQ(data_log_open(kLogGimbal), 0);
  data_log_cut(kLogGimbal);
  // The next file of the process gets the descriptor of the log; nobody may close it.
  const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
  data_log_cut(kLogGimbal);
  EXPECT_EQ(data_log_close(kLogGimbal), 0);
  EXPECT_FALSE(data_log_is_open(kLogGimbal));
  data_log_cut(kLogGimbal);
  EXPECT_FALSE(data_log_is_open(kLogGimbal));
  EXPECT_EQ(fcntl(other, F_GETFD), FD_CLOEXEC);
  close(other);
}

TEST_F(DataLog, ClosingKind1AlsoClosesTheVideoBoards) {
  const auto open_all = [] {
    for (const int32_t kind : {0, 1, 2}) data_log_open(kind);
  };
  const auto open_logs = [] {
    return std::vector{data_log_is_open(0), data_log_is_open(1), data_log_is_open(2)};
  };
  open_all();
  EXPECT_EQ(data_log_close(kLogGimbal), 0);
  EXPECT_THAT(open_logs(), ElementsAre(true, true, false));
  open_all();
  EXPECT_EQ(data_log_close(kLogFlightController), 0);
  EXPECT_THAT(open_logs(), ElementsAre(false, false, true));
  for (const int32_t kind : {0, 3, -1}) {
    open_all();
    EXPECT_EQ(data_log_close(kind), 0);
    EXPECT_THAT(open_logs(), ElementsAre(false, true, true)) << kind;
  }
  open_all();
  EXPECT_EQ(data_log_close_all(), 0);
  EXPECT_THAT(open_logs(), ElementsAre(false, false, false));
  EXPECT_EQ(data_log_close_all(), 0);
}

}  // namespace
}  // namespace supervisor_test
