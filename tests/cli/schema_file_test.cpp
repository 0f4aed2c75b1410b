// SPDX-License-Identifier: MIT
// kt3.schema.json is made by kt3-schema from the tables that print the documents.

#include "cli/run_kt3.hpp"

using namespace kt3::tests;

TEST(SchemaFile, HoldsWhatTheTablesOfTheCommandsSay) {
    const Scratch scratch;
    const Ended made = run_process({KT3_SCHEMA_PROGRAM}, scratch);
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_TRUE(made.out == file_text(KT3_SCHEMA_FILE))
        << "the tables of a command have changed; write the file anew:\n"
        << "  " << KT3_SCHEMA_PROGRAM << " > " << KT3_SCHEMA_FILE;
}
