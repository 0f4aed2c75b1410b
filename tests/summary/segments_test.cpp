// SPDX-License-Identifier: MIT
#include "summary/segments.hpp"

#include "allocation/driver_tree.hpp"
#include "support/descriptors.hpp"
#include "support/log_capture.hpp"
#include "support/odd_reads.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <unistd.h>

using namespace kt3::tests;

namespace {

constexpr std::int32_t kNewer = 0x5C05;
constexpr std::int32_t kOlder = 0x5C01;

// An adapter in slot 1 of a record, its information directory open and its driver directory bound.
struct Machine : DriverTree {
    find_adapter adapters = {};

    explicit Machine(std::int32_t chip) {
        kernel.directory(kInfo);
        adapters.current_index = 1;
        adapters.chip_id[1] = chip;
        adapters.gpu_infos[1].info_fd = ::open(kernel.real(kInfo).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        pCurrent_gpu_infos = &adapters.gpu_infos[1];
    }
    ~Machine() {
        ::close(adapters.gpu_infos[1].info_fd);
        pCurrent_gpu_infos = nullptr;
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    Machine& node(const std::string& text) {
        kernel.file(std::string(kInfo) + "/segment_info", text);
        return *this;
    }
    Machine& heap(const std::string& name, const std::string& page) {
        kernel.file(path("heaps/" + name + "/info"), page);
        return *this;
    }
    Machine& all_heaps() {
        return heap("heap_invalid", page(16, 4))
            .heap("heap_local", page(1024, 128))
            .heap("heap_pcie_unsnoop", page(512, 64))
            .heap("heap_pcie_snoop", page(256, 32));
    }
    // A heap page with sizes in MiB.
    static std::string page(std::uint64_t total, std::uint64_t used) {
        return "Heap information\nTotal segment size:  " + std::to_string(total << 20) +
               "\nKMD used segment memory:  " + std::to_string(used << 20) + "\n";
    }
    static constexpr const char* kInfo = "/sys/bus/pci/devices/0000:03:00.0/wy_info";
};

std::string segment(unsigned id, unsigned total, unsigned used) {
    return "segment_id:" + std::to_string(id) + ",total_size:" + std::to_string(total) +
           ",used_size:" + std::to_string(used) + ",\n";
}

struct Segments {
    _GFX_SEGMENT_INFO info;
    Segments() { std::memset(&info, 0x5A, sizeof info); }
    explicit Segments(std::uint32_t start) {
        std::fill(std::begin(info.used_size), std::end(info.used_size), start);
        std::fill(std::begin(info.total_size), std::end(info.total_size), start);
    }
    [[nodiscard]] std::vector<std::uint32_t> used(std::size_t count) const {
        return {info.used_size, info.used_size + count};
    }
    [[nodiscard]] std::vector<std::uint32_t> total(std::size_t count) const {
        return {info.total_size, info.total_size + count};
    }
};

using Words = std::vector<std::uint32_t>;

} // namespace

TEST(SegmentNode, GivesThousandthsOfTheNodesNumbers) {
    Machine machine(kNewer);
    machine.node("segment_id:0,total_size:1000000,used_size:500000,");
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.info.total_size[0], 1000U);
    EXPECT_EQ(segments.info.used_size[0], 500U);
    EXPECT_EQ(segments.info.used_size[1], 7U);
    EXPECT_EQ(segments.info.total_size[15], 7U);
}

TEST(SegmentNode, RoundsTheThousandthsDown) {
    Machine machine(kNewer);
    machine.node(segment(0, 1999, 999));
    Segments segments;
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.total(1), Words{1});
    EXPECT_EQ(segments.used(1), Words{0});
}

TEST(SegmentNode, FoldsSevenSegmentsIntoTheFifth) {
    Machine machine(kNewer);
    std::string text;
    for (unsigned id = 0; id < 7; ++id) {
        text += segment(id, 10000 * (id + 1), 1000 * (id + 1));
    }
    machine.node(text);
    Segments segments;
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.used(7), (Words{1, 2, 3, 4, 5 + 6 + 7, 6, 7}));
    EXPECT_EQ(segments.total(7), (Words{10, 20, 30, 40, 50 + 60 + 70, 60, 70}));
}

TEST(SegmentNode, FoldsSixSegmentsAndLeavesFiveAlone) {
    for (const unsigned count : {5U, 6U}) {
        Machine machine(kNewer);
        std::string text;
        for (unsigned id = 0; id < count; ++id) {
            text += segment(id, 2000, 1000);
        }
        machine.node(text);
        Segments segments;
        EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
        EXPECT_EQ(segments.info.used_size[4], count == 6 ? 2U : 1U);
        EXPECT_EQ(segments.info.total_size[4], count == 6 ? 4U : 2U);
    }
}

TEST(SegmentNode, StopsAtTheFirstIdThatIsMissing) {
    Machine machine(kNewer);
    machine.node(segment(0, 1000, 1000) + segment(1, 2000, 2000) + segment(3, 3000, 3000));
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.used(4), (Words{1, 2, 7, 7}));
}

TEST(SegmentNode, FindsSegmentsInAnyOrder) {
    Machine machine(kNewer);
    machine.node(segment(1, 2000, 2000) + segment(0, 1000, 1000));
    Segments segments;
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.used(2), (Words{1, 2}));
}

TEST(SegmentNode, ReadsSixteenSegmentsAndNoMore) {
    std::string text;
    for (unsigned id = 0; id < 17; ++id) {
        text += "segment_id:" + std::to_string(id) + ",total_size:3000,used_size:2000,";
    }
    text.resize(1024, '\n');
    Segments segments(7);
    EXPECT_TRUE(kt3::summary::parse_segment_page(std::span(text.c_str(), text.size()), segments.info));
    EXPECT_EQ(segments.info.used_size[4], 2U * 12);
    EXPECT_EQ(segments.info.total_size[4], 3U * 12);
    EXPECT_EQ(segments.info.used_size[15], 2U);
    EXPECT_EQ(segments.info.total_size[15], 3U);
    EXPECT_EQ(segments.info.total_size[0], 3U);
}

TEST(SegmentNode, LooksAtTheFirst512BytesOnly) {
    Machine machine(kNewer);
    const std::string first = segment(0, 1000, 1000);
    const struct {
        std::size_t at;
        std::uint32_t expected;
    } rows[] = {
        {480, 2},    // cut behind its total
        {498, 7},    // the key alone: what the word held before is divided
        {499, 7000}, // the key ends at the very last byte and is not found
        {500, 7000}, {512, 7000},
    };
    for (const auto& row : rows) {
        machine.node(first + std::string(row.at - first.size(), '\n') + segment(1, 2000, 2000));
        Segments segments(7000);
        EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
        EXPECT_EQ(segments.info.used_size[0], 1U);
        EXPECT_EQ(segments.info.total_size[1], row.expected) << row.at;
    }
}

TEST(SegmentNode, FailsBelowTwentyBytes) {
    Machine machine(kNewer);
    const std::string valid = "segment_id:0,total_size:1000,used_size:1000,";
    machine.node(valid.substr(0, 19));
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), -1);
    EXPECT_EQ(segments.info.used_size[0], 7U);
    machine.node(valid.substr(0, 20));
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
}

TEST(SegmentNode, FailsWithoutTheFirstSegment) {
    Machine machine(kNewer);
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), -1); // no node at all
    machine.node(segment(1, 2000, 2000));
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), -1);
    EXPECT_EQ(segments.used(2), (Words{7, 7}));
}

TEST(SegmentNode, DividesAWordThatTheNodeDoesNotGive) {
    Machine machine(kNewer);
    machine.node("segment_id:0,total_size:9000;used_size:5000,");
    Segments segments(4000);
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.info.total_size[0], 9U);
    EXPECT_EQ(segments.info.used_size[0], 4U);
}

TEST(SegmentNode, FailsWithoutACurrentAdapterAndWithoutARecord) {
    Machine machine(kNewer);
    machine.node(segment(0, 1000, 1000));
    EXPECT_EQ(gpuinfo_get_segment_info(nullptr), -1);
    pCurrent_gpu_infos = nullptr;
    Segments segments;
    EXPECT_EQ(gpuinfo_get_segment_info(&segments.info), -1);
}

TEST(HeapPages, FillFourSlotsInMibAndZeroTheFifth) {
    Machine machine(kOlder);
    machine.all_heaps();
    const int before = open_descriptors();
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_EQ(segments.used(6), (Words{4, 128, 64, 32, 0, 7}));
    EXPECT_EQ(segments.total(6), (Words{16, 1024, 512, 256, 0, 7}));
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 1), 1);
    EXPECT_EQ(open_descriptors(), before);
}

TEST(HeapPages, WrapAtFourGibibytes) {
    Machine machine(kOlder);
    machine.all_heaps().heap("heap_local", Machine::page(6144, 4096 + 3));
    Segments segments;
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_EQ(segments.info.total_size[1], 2048U);
    EXPECT_EQ(segments.info.used_size[1], 3U);
}

TEST(HeapPages, RepeatTheNumbersOfThePageBeforeAMissingOne) {
    Machine machine(kOlder);
    machine.all_heaps().kernel.remove(DriverTree::path("heaps/heap_pcie_unsnoop"));
    Segments segments;
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_EQ(segments.used(5), (Words{4, 128, 128, 32, 0}));
    EXPECT_EQ(segments.total(5), (Words{16, 1024, 1024, 256, 0}));
}

TEST(HeapPages, ReadOnIntoThePageBeforeWhenTheirOwnIsShorter) {
    Machine machine(kOlder);
    const std::string total = "Total segment size:  1048576\n";
    machine.heap("heap_invalid", total + "KMD used segment memory:  2097152\n")
        .heap("heap_local", "Total segment size:  3145728\n")
        .heap("heap_pcie_unsnoop", "")
        .heap("heap_pcie_snoop", "");
    Segments segments;
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_EQ(segments.total(4), (Words{1, 3, 3, 3}));
    EXPECT_EQ(segments.used(4), (Words{2, 2, 2, 2}));
}

TEST(HeapPages, SayThatTheDirectoryIsMissing) {
    Machine machine(kOlder);
    LogCapture log;
    OutputCapture output;
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    EXPECT_EQ(output.text(), "Error opening directory\n");
    EXPECT_TRUE(LogCapture::lines().empty());
    EXPECT_EQ(segments.used(1), Words{7});
}

TEST(HeapPages, FailSilentlyWithoutAKeyAndKeepWhatTheyFilled) {
    Machine machine(kOlder);
    // One blank less, and the rest of the older page blotted out.
    machine.all_heaps().heap("heap_local",
                             "Total segment size:  2097152\nKMD used segment memory: 1\n" + std::string(500, ' '));
    OutputCapture output;
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(segments.used(3), (Words{4, 7, 7}));
    EXPECT_EQ(segments.total(3), (Words{16, 2, 7}));
}

TEST(HeapPages, FailWhenTheFirstPageIsMissing) {
    Machine machine(kOlder);
    machine.all_heaps().kernel.remove(DriverTree::path("heaps/heap_invalid"));
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    EXPECT_EQ(segments.total(2), (Words{7, 7}));
}

TEST(HeapPages, LeaveNoDescriptorBehindAfterAFailure) {
    Machine machine(kOlder);
    machine.kernel.directory(DriverTree::path("heaps"));
    const int before = open_descriptors();
    Segments segments;
    for (int round = 0; round < 1000; ++round) {
        ASSERT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
        ASSERT_EQ(open_descriptors(), before);
    }
}

TEST(HeapPages, NeverCloseADescriptorThatTheClientOpenedAfterAFailure) {
    Machine machine(kOlder);
    machine.kernel.directory(DriverTree::path("heaps"));
    const int next = ::dup(STDIN_FILENO); // the number that is given out next
    ::close(next);
    Segments segments;
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    ::close(next); // as a client does that starts over without descriptors
    const kt3::support::Fd own(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(own.get(), next);
    machine.all_heaps();
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_GE(::fcntl(own.get(), F_GETFD), 0);
}

TEST(HeapPages, FailAtOnceOnAPageThatCannotBeRead) {
    Machine machine(kOlder);
    machine.all_heaps();
    OutputCapture output;
    const int before = open_descriptors();
    Segments segments(7);
    odd_reads() = {.good_left = 2}; // the first page and its end
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    EXPECT_EQ(odd_reads().made, 3) << "no page is asked for after it";
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(segments.used(3), (Words{4, 7, 7})) << "not the numbers of the page before";
    EXPECT_EQ(segments.total(3), (Words{16, 7, 7}));
}

TEST(HeapPages, FailOnAPageThatCannotBeReadToItsEnd) {
    Machine machine(kOlder);
    machine.all_heaps();
    Segments segments(7);
    odd_reads() = {.good_left = 1}; // it gives both sizes
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), -1);
    EXPECT_EQ(segments.total(1), Words{7});
}

TEST(HeapPages, LeaveAWordWhoseNumberIsMissing) {
    Machine machine(kOlder);
    machine.all_heaps().heap("heap_invalid", "Total segment size:  none\nKMD used segment memory:  1048576\n");
    Segments segments(7);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(&segments.info, 0), 1);
    EXPECT_EQ(segments.info.total_size[0], 7U);
    EXPECT_EQ(segments.info.used_size[0], 1U);
}

TEST(HeapPages, DoNotFollowANullRecord) {
    Machine machine(kOlder);
    EXPECT_EQ(gpuinfo_get_kmd_segment_info(nullptr, 0), -1);
}

TEST(SegmentSource, IsTheSumOfAllocationsUntilItWasChosen) {
    Machine machine(kNewer);
    machine.node(segment(0, 1000, 1000)).all_heaps().allocation("1", 1, 5, 3 << 20);
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), 0);
    EXPECT_EQ(segments.used(16), (Words{0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(segments.total(16), Words(16, 0));
}

TEST(SegmentSource, IsTheNodeForEveryChipOfTheNewerFamily) {
    for (const std::int32_t chip : {0x5C00, 0x5C02, 0x5C04, 0x5C05, 0x5C06, 0x5C07, 0x5C0E}) {
        Machine machine(chip);
        machine.node(segment(0, 9000, 5000)).all_heaps();
        EXPECT_EQ(segment_init(&machine.adapters), 1);
        Segments segments;
        EXPECT_EQ(get_segment_info(&segments.info), 1);
        EXPECT_EQ(segments.used(2), (Words{5, 0}));
        EXPECT_EQ(segments.total(2), (Words{9, 0}));
    }
}

TEST(SegmentSource, IsTheHeapPagesWithTheAllocationsForEveryOtherChip) {
    for (const std::int32_t chip : {kOlder, 0x4B05, 0x1234, 0}) {
        Machine machine(chip);
        machine.node(segment(0, 9000, 5000)).all_heaps();
        machine.allocation("1", 1, 1, 3 << 20).allocation("2", 1, 7, 2 << 20);
        EXPECT_EQ(segment_init(&machine.adapters), 1);
        Segments segments;
        EXPECT_EQ(get_segment_info(&segments.info), 0);
        EXPECT_EQ(segments.used(6), (Words{4, 131, 64, 32, 2, 0}));
        EXPECT_EQ(segments.total(6), (Words{16, 1024, 512, 256, 0, 0}));
    }
}

TEST(SegmentSource, FallsBackToTheAllocationsWhenTheProbeFails) {
    for (const std::int32_t chip : {kNewer, kOlder}) {
        Machine machine(chip);
        machine.allocation("1", 1, 0, 3 << 20);
        OutputCapture output;
        EXPECT_EQ(segment_init(&machine.adapters), -1);
        EXPECT_EQ(output.text(), chip == kOlder ? "Error opening directory\n" : "");
        Segments segments;
        EXPECT_EQ(get_segment_info(&segments.info), 0);
        EXPECT_EQ(segments.used(2), (Words{3, 0}));
    }
}

TEST(SegmentSource, GoesByTheCurrentSlotOfTheRecordItIsGiven) {
    Machine machine(kOlder);
    machine.node(segment(0, 9000, 5000)).all_heaps();
    machine.adapters.chip_id[2] = kNewer;
    machine.adapters.current_index = 2;
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), 1);
}

TEST(SegmentSource, StaysWhenAnotherAdapterIsSelected) {
    Machine machine(kNewer);
    machine.node(segment(0, 9000, 5000)).all_heaps();
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    find_adapter other = {};
    other.chip_id[0] = kOlder;
    other.gpu_infos[0].info_fd = machine.adapters.gpu_infos[1].info_fd;
    const LogCapture quiet;
    gpuinfo_select_new_chip(&other);
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), 1);
    EXPECT_EQ(segments.info.used_size[0], 5U);
    EXPECT_EQ(segment_init(&other), 1);
    EXPECT_EQ(get_segment_info(&segments.info), 0) << "chosen anew";
    EXPECT_EQ(segments.info.used_size[0], 4U);
}

TEST(SegmentSource, AnswersMinusOneAndZerosWhenTheChosenNodeIsGone) {
    Machine machine(kNewer);
    machine.node(segment(0, 9000, 5000));
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    machine.kernel.remove(std::string(Machine::kInfo) + "/segment_info");
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), -1);
    EXPECT_EQ(segments.used(16), Words(16, 0));
    EXPECT_EQ(segments.total(16), Words(16, 0));
}

TEST(SegmentSource, KeepsTheHeapPagesWhenTheSnapshotFails) {
    Machine machine(kOlder);
    machine.all_heaps();
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    machine.kernel.directory(DriverTree::path("allocations/gone"));
    OutputCapture output;
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), -1);
    EXPECT_EQ(segments.used(5), (Words{4, 128, 64, 32, 0}));
}

TEST(SegmentSource, AnswersForTheAllocationsWhenTheChosenHeapPagesAreGone) {
    Machine machine(kOlder);
    machine.all_heaps().allocation("1", 1, 0, 3 << 20);
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    machine.kernel.remove(DriverTree::path("heaps"));
    OutputCapture output;
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), 0);
    EXPECT_EQ(segments.used(2), (Words{3, 0}));
    EXPECT_EQ(output.text(), "Error opening directory\n");
}

TEST(SegmentSource, PassesMalformedNumbersOn) {
    Machine machine(kOlder);
    machine.allocation("1", "handle=zz\n");
    Segments segments;
    EXPECT_THROW(get_segment_info(&segments.info), std::invalid_argument);
}

TEST(SegmentSource, IsTheAllocationsAfterARecordThatNamesNoSlot) {
    Machine machine(kNewer);
    machine.node(segment(0, 9000, 5000)).allocation("1", 1, 0, 3 << 20);
    EXPECT_EQ(segment_init(&machine.adapters), 1);
    machine.adapters.current_index = 3;
    EXPECT_EQ(segment_init(&machine.adapters), -1);
    Segments segments;
    EXPECT_EQ(get_segment_info(&segments.info), 0);
    EXPECT_EQ(segment_init(nullptr), -1);
    EXPECT_EQ(get_segment_info(nullptr), -1);
}
