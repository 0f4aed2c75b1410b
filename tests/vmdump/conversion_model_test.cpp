// SPDX-License-Identifier: MIT
// The exports against a plain model of them: one standard conversion a field, in the order of the fields. Every byte of
// the client's array is compared, those in front of and behind the rows included.

#include "kt3_mgmt/kt3_mgmt_interface_cxx.h"
#include "support/raised_error.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using kt3::tests::raised_by;

namespace {

class OddNumbers {
public:
    explicit OddNumbers(unsigned seed) : random_(seed) {}

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

    // Usual ones mostly; the others differ from them by a sign, a blank, a prefix, a digit too many, or altogether.
    std::string hexadecimal(int most_digits) {
        static constexpr const char* kOdd[] = {
            "",           "0x",         "0X1f",        "0xg",      "g",
            " 1",         "\t12",       "1 ",          "12zz",     "+0x10",
            "-1",         "-0x1",       "-0x80000000", "7fffffff", "80000000",
            "0x7fffffff", "0x80000000", "-80000001",   "0x0x1",    "0000000000000000000000000000012",
            "\2601",      "1\xff",      "1/",          "1:",       "1@",
            "1G",         "1`"};
        if (below(6) == 0) {
            return kOdd[below(std::size(kOdd))];
        }
        std::string made = below(2) == 0 ? "0x" : "";
        const bool upper = below(2) == 0;
        for (int left = 1 + below(most_digits); left > 0; --left) {
            made += (upper ? "0123456789ABCDEF" : "0123456789abcdef")[below(16)];
        }
        if (below(10) == 0) {
            made.insert(made.begin() + below(static_cast<int>(made.size())), static_cast<char>(1 + below(255)));
        }
        return made;
    }
    std::string decimal() {
        static constexpr const char* kOdd[] = {"",    "-",   " 7", "+7",         "-7",         "7x",         "x7",
                                               "0x7", "007", "1 ", "2147483647", "2147483648", "-2147483648"};
        return below(12) == 0 ? kOdd[below(std::size(kOdd))] : std::to_string(random_() >> (1 + below(31)));
    }

private:
    std::mt19937 random_;
};

template<typename Row>
std::vector<Row> untouched(std::size_t count) {
    std::vector<Row> rows(count);
    std::memset(rows.data(), 0xA5, count * sizeof(Row));
    return rows;
}

template<typename Row>
bool same_bytes(const std::vector<Row>& a, const std::vector<Row>& b) {
    return std::memcmp(a.data(), b.data(), a.size() * sizeof(Row)) == 0;
}

void fill_usual(_PAGETABLE_DATA& row, const char* address, std::int32_t level, std::int32_t index, long pid) {
    row.pid = pid;
    row.addr = std::stoi(address, nullptr, 16);
    row.level = level;
    row.index = index;
}

} // namespace

TEST(ConversionModel, AgreesWithRowsOfThousandsOfOddAddresses) {
    int with_error = 0;
    for (unsigned seed = 1; seed <= 6'000; ++seed) {
        OddNumbers odd(seed);
        const auto count = static_cast<std::size_t>(1 + odd.below(12));
        const int first = odd.below(3);
        const long pid = odd.below(100'000) - 50'000;
        std::vector<vidmm_vm_pt> tables(count);
        std::vector<vidmm_vm_pte_elt3k> subs(count);
        for (std::size_t at = 0; at < count; ++at) {
            // Digits behind the terminator belong to nobody.
            std::memset(tables[at].Addr, '7', 47);
            std::memset(subs[at].Addr, '7', 47);
            const std::string address = odd.hexadecimal(odd.below(4) == 0 ? 12 : 8);
            std::memcpy(tables[at].Addr, address.c_str(), address.size() + 1);
            std::memcpy(subs[at].Addr, address.c_str(), address.size() + 1);
            tables[at].PT_Level = subs[at].ST_Level = odd.below(3);
            tables[at].PT_index = subs[at].Index = odd.below(1'000) - 10;
            subs[at].Snoop = static_cast<std::uint16_t>(odd.below(65'536));
            subs[at].Segment = static_cast<std::uint16_t>(odd.below(65'536));
            subs[at].LargePage = static_cast<std::uint16_t>(odd.below(65'536));
            subs[at].DigitalIndex = {odd.below(3), odd.below(1'000)};
        }
        const std::size_t rows = static_cast<std::size_t>(first) + count + 1;

        auto expected = untouched<_PAGETABLE_DATA>(rows);
        int expected_next = first;
        const std::string expected_end = raised_by([&] {
            for (const vidmm_vm_pt& entry : tables) {
                _PAGETABLE_DATA& row = expected[static_cast<std::size_t>(expected_next)];
                fill_usual(row, entry.Addr, entry.PT_Level, entry.PT_index, pid);
                row.type = 1;
                ++expected_next;
            }
        });
        auto made = untouched<_PAGETABLE_DATA>(rows);
        int next = first;
        ASSERT_EQ(raised_by([&] { Fill_Value_to_ptTable(made.data(), tables, &next, pid); }), expected_end) << seed;
        ASSERT_EQ(next, expected_next) << seed;
        ASSERT_TRUE(same_bytes(made, expected)) << seed;

        expected = untouched<_PAGETABLE_DATA>(rows);
        expected_next = first;
        EXPECT_EQ(raised_by([&] {
                      for (const vidmm_vm_pte_elt3k& entry : subs) {
                          _PAGETABLE_DATA& row = expected[static_cast<std::size_t>(expected_next)];
                          fill_usual(row, entry.Addr, entry.ST_Level, entry.Index, pid);
                          row.snoop = entry.Snoop;
                          row.segment = entry.Segment;
                          row.large_page = entry.LargePage;
                          row.parent_level = entry.DigitalIndex.parent_level;
                          row.parent_index = entry.DigitalIndex.parent_index;
                          row.type = -1;
                          ++expected_next;
                      }
                  }),
                  expected_end);
        made = untouched<_PAGETABLE_DATA>(rows);
        next = first;
        ASSERT_EQ(raised_by([&] { Fill_Value_to_subTable(made.data(), subs, &next, pid); }), expected_end) << seed;
        ASSERT_EQ(next, expected_next) << seed;
        ASSERT_TRUE(same_bytes(made, expected)) << seed;
        with_error += expected_end.empty() ? 0 : 1;
    }
    EXPECT_GT(with_error, 500);
    EXPECT_LT(with_error, 5'500);
}

TEST(ConversionModel, AgreesWithNodesOfThousandsOfOddNumbers) {
    int with_error = 0;
    for (unsigned seed = 1; seed <= 6'000; ++seed) {
        OddNumbers odd(seed);
        const auto count = static_cast<std::size_t>(1 + odd.below(6));
        Allocation_List.clear();
        for (std::size_t at = 0; at < count; ++at) {
            Allocation_List.push_back(
                {odd.decimal(), "name", odd.hexadecimal(8), odd.hexadecimal(16), odd.hexadecimal(odd.below(20) + 1)});
            // Short texts may lie on the heap, and texts may hold zero bytes; the number ends there.
            allcation_Info& node = Allocation_List.back();
            node.gpu_va.reserve(odd.below(4) == 0 ? 100 : 0);
            node.size += odd.below(10) == 0 ? std::string("\0"
                                                          "9",
                                                          2)
                                            : "";
        }
        auto expected = untouched<_GFX_VM_ALLOCATION_DATA>(count + 1);
        const std::string expected_end = raised_by([&] {
            for (std::size_t at = 0; at < count; ++at) {
                const allcation_Info& node = Allocation_List[at];
                expected[at].pid = std::stoi(node.device_pid);
                expected[at].handle = std::stoll(node.handle, nullptr, 16);
                expected[at].size = std::stoll(node.size, nullptr, 16);
                expected[at].gpu_va = std::stoll(node.gpu_va, nullptr, 16);
            }
        });
        auto made = untouched<_GFX_VM_ALLOCATION_DATA>(count + 1);
        ASSERT_EQ(raised_by([&] { get_allocation_data(made.data(), nullptr); }), expected_end) << seed;
        ASSERT_TRUE(same_bytes(made, expected)) << seed;
        with_error += expected_end.empty() ? 0 : 1;
    }
    EXPECT_GT(with_error, 500);
    EXPECT_LT(with_error, 5'500);
}
