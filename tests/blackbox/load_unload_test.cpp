// SPDX-License-Identifier: MIT
#include "blackbox/loaded_library.hpp"
#include "support/output_capture.hpp"

#include <gtest/gtest.h>
#include <vector>

using kt3::tests::LoadedLibrary;
using kt3::tests::OutputCapture;

namespace {

std::vector<std::string>& heard() {
    static std::vector<std::string> lines;
    return lines;
}

void hear(const char* line) {
    heard().emplace_back(line);
}

} // namespace

TEST(LoadAndUnload, EachWriteOneLineToStandardOutput) {
    OutputCapture output;
    { LoadedLibrary library; }
    EXPECT_EQ(output.text(), "init_100_priority, init print callback.\nuninit_100_priority.\n");
}

TEST(LoadAndUnload, AreWrittenToStandardOutputWhateverCallbackIsInstalled) {
    OutputCapture output;
    {
        LoadedLibrary library;
        KT3_EXPORTED(library, set_print_callback)(&hear);
    }
    EXPECT_EQ(output.text(), "init_100_priority, init print callback.\nuninit_100_priority.\n");
    EXPECT_EQ(heard(), std::vector<std::string>{"set_print_callback.\n"});
}

TEST(LoadAndUnload, TheCallbackIsPrintfRightAfterLoading) {
    LoadedLibrary library;
    const kt3_print_callback callback = *KT3_EXPORTED(library, pServerPrintCallback);
    EXPECT_EQ(reinterpret_cast<void (*)()>(callback), reinterpret_cast<void (*)()>(&std::printf));
}

TEST(LoadAndUnload, NothingIsBoundOrEnumeratedAtLoadTime) {
    LoadedLibrary library;
    EXPECT_EQ(*KT3_EXPORTED(library, pCurrent_gpu_infos), nullptr);
    EXPECT_EQ(*KT3_EXPORTED(library, pdev), nullptr);
    EXPECT_EQ(*KT3_EXPORTED(library, gpuinfo_control_enable), 0);
    EXPECT_STREQ(*KT3_EXPORTED(library, sys_kernel_debug_ID_dri_ADAPTER_path), "");
    EXPECT_STREQ(*KT3_EXPORTED(library, sys_bus_pci_devices_BUSID_path), "");
}

TEST(LoadAndUnload, TheDefaultCallbackPrintsLogLines) {
    OutputCapture output;
    {
        LoadedLibrary library;
        KT3_EXPORTED(library, lib_print_func)("%s\n", "50% done");
    }
    EXPECT_EQ(output.text(), "init_100_priority, init print callback.\n50% done\nuninit_100_priority.\n");
}

TEST(LoadAndUnload, LeaveACopyOfStandardOutputCleanThatAToolMadeBefore) {
    OutputCapture output;
    const int own_output = ::dup(STDOUT_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    {
        LoadedLibrary library;
        KT3_EXPORTED(library, lib_print_func)("a line of the library\n");
    }
    std::fflush(stdout);
    EXPECT_EQ(::write(own_output, "answer\n", 7), 7);
    ::close(own_output);
    EXPECT_EQ(output.text(), "answer\n");
}
