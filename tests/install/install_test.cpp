// Installs the project into a temporary prefix, moves the installation, and completes from there: the
// programs must find their libraries and the local backend's corpus relative to where they stand.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "support/shell_run.hpp"

namespace fs = std::filesystem;

namespace {

using testing_support::ShellRun;

ShellRun shell(const std::string& command) {
    return testing_support::runShell(command + " 2>&1");
}

TEST(Install, AMovedInstallationCompletesWithItsOwnCorpus) {
    const fs::path root = fs::path(::testing::TempDir()) / ("ostrel-install-" + std::to_string(getpid()));
    fs::remove_all(root);
    const fs::path installed = root / "installed", moved = root / "moved", workspace = root / "workspace";
    const ShellRun install = shell(std::string("'") + CMAKE_COMMAND_PATH + "' --install '" +
                                   OSTREL_BINARY_DIR + "' --prefix '" + installed.string() + "'");
    ASSERT_EQ(install.status, 0) << install.out;
    for (const char* part : {"bin/ostrel-complete", "lib/libmtcc.so", "lib/libostrel_host.so",
                             "share/ostrel/corpus/examples/matrix_stats.ost", "share/ostrel/corpus/library"})
        EXPECT_TRUE(fs::exists(installed / part)) << part;
    fs::rename(installed, moved);

    fs::create_directories(workspace);
    for (const char* name : {"daily_summary.ost", "weekly_summary.ost"})
        fs::copy_file(fs::path(OSTREL_SOURCE_DIR) / "scripts" / "demo" / name, workspace / name);
    // The local backend reads its corpus when it starts and refuses to start without one, so a
    // completion at all shows the moved corpus was found; this one comes from the workspace.
    const ShellRun complete =
        shell("cd / && XDG_CONFIG_HOME=/nonexistent '" + (moved / "bin" / "ostrel-complete").string() +
              "' '" + (workspace / "daily_summary.ost").string() + "' --at 6:1 --backend local");
    EXPECT_EQ(complete.status, 0) << complete.out;
    EXPECT_TRUE(complete.out.starts_with("summary.mean = mean(valid);\n")) << complete.out;

    // Nothing of the build or source tree is looked up: the libraries come from the installation.
    const ShellRun libraries = shell("ldd '" + (moved / "bin" / "ostrel-complete").string() + "'");
    EXPECT_NE(libraries.out.find((moved / "bin" / ".." / "lib" / "libmtcc.so").string()), std::string::npos)
        << libraries.out;
    EXPECT_EQ(libraries.out.find(OSTREL_BINARY_DIR), std::string::npos) << libraries.out;
    fs::remove_all(root);
}

}  // namespace
