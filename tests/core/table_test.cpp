#include "core/rows.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/module_test.h"

using namespace appcfg;

// Named, for the table is a key of its descriptor.
namespace table_test {

struct Row {
    uint32_t ulIndex;
    uint8_t ucEnable;
    uint8_t ucShadow;
    uint16_t usPort;
    char aucName[8];
    int32_t lGroup;
    uint32_t ulBitmap;
};

constexpr Column kColumns[] = {
    COLUMN(Row, ulIndex),
    COLUMN(Row, ucEnable).bit(2).at_most(1),
    COLUMN(Row, ucShadow).stored_as("ucEnable").only_read(),
    COLUMN(Row, usPort).bit(1),
    COLUMN(Row, aucName).bit(8).stored_as("name"),
    COLUMN(Row, lGroup).unstored(),
};
inline constexpr TableOf<Row> kTable = make_table<Row>(7, "app_test", "TEST_TAB", kColumns, 11);

int32_t register_table() {
    static constexpr TableDescriptor kDescriptors[] = {list_table<kTable>};
    return mib_chain_register(kDescriptors, 1);
}

struct TableTest : ModuleTest {
    TableTest() : ModuleTest(register_table) {}
};

TEST_F(TableTest, AddedRowIsReadBackInTheWidthOfItsColumns) {
    const Row row{.ulIndex = 0xfffffffe, .ucEnable = 1, .usPort = 65535, .aucName = {"a 'b'\n"}};
    ASSERT_EQ(mib_chain_add(7, &row), 1);
    EXPECT_EQ(read_package("app_test"),
              "\nconfig TEST_TAB\n\toption ulIndex '-2'\n\toption ucEnable '1'\n\toption usPort "
              "'65535'\n\toption name 'a '\\''b'\\''\n'\n\n");
    Row read;
    std::memset(&read, 0x55, sizeof(read));
    ASSERT_EQ(mib_chain_get(7, 0, &read), 1);
    EXPECT_EQ(read.ulIndex, 0xfffffffe);
    EXPECT_EQ(read.ucShadow, 1);
    EXPECT_STREQ(read.aucName, row.aucName);
    EXPECT_EQ(read.lGroup, 0);
    EXPECT_EQ(read.ulBitmap, 11u);
}

TEST_F(TableTest, WhatIsStoredIsNeverTrustedAndWhatIsNotReadsAsDefaults) {
    write_package("app_test",
                  "config TEST_TAB\n\toption ucEnable '300'\n\toption usPort 'none'\n"
                  "\toption name 'far too long a name'\n");
    Row row;
    ASSERT_EQ(mib_chain_get(7, 0, &row), 1);
    EXPECT_EQ(row.ucEnable, 44);
    EXPECT_EQ(row.usPort, 0);
    EXPECT_STREQ(row.aucName, "far too");
    EXPECT_EQ(mib_chain_get(7, 3, &row), 1);
    EXPECT_EQ(row.ucEnable, 0);
    EXPECT_EQ(mib_chain_update(7, &row, 3), 1);
    EXPECT_EQ(mib_chain_total(7), 1) << "an update makes no row";
    for (const auto change :
         {mib_chain_get(7, 0, nullptr), mib_chain_update(7, nullptr, 0), mib_chain_add(7, nullptr)})
        EXPECT_EQ(change, 0);
}

TEST_F(TableTest, RowThatDoesNotReachTheDiskIsReportedAndNotSeen) {
    const Row row{.ulIndex = 1};
    ASSERT_EQ(mib_chain_add(7, &row), 1);
    const std::string before = read_package("app_test");
    {
        const FullDisk full;
        EXPECT_EQ(mib_chain_add(7, &row), 0);
        const Row other{.ulIndex = 2};
        EXPECT_EQ(mib_chain_update(7, &other, 0), 0);
        EXPECT_EQ(mib_chain_delete(7, 0), 1);
    }
    EXPECT_EQ(read_package("app_test"), before);
    EXPECT_EQ(mib_chain_total(7), 1);
}

TEST_F(TableTest, RequestChangesOnlyWhatItSelects) {
    Row row{.ulIndex = 1, .ucEnable = 1, .usPort = 80, .aucName = {"old"}, .ulBitmap = 11};
    Row request{.ulIndex = 9, .ucEnable = 2, .usPort = 443, .aucName = {"new"}, .ulBitmap = 9};
    EXPECT_TRUE(selected_in_range(kTable, request));
    merge_selected(kTable, row, request);
    EXPECT_EQ(row.ulIndex, 1u);
    EXPECT_EQ(row.ucEnable, 1);
    EXPECT_EQ(row.usPort, 443);
    EXPECT_STREQ(row.aucName, "new");
    request.ulBitmap = 2;
    EXPECT_FALSE(selected_in_range(kTable, request));
}

TEST_F(TableTest, UnknownTablesSucceedWithoutTouchingTheRecord) {
    mib_chain_clear();
    Row row{.ulIndex = 42};
    for (uint32_t table : {7u, kTableIds - 1, kTableIds, UINT32_MAX}) {
        EXPECT_EQ(mib_chain_total(table), 0);
        EXPECT_EQ(mib_chain_get(table, 0, &row), 1);
        EXPECT_EQ(mib_chain_update(table, &row, 0), 1);
        EXPECT_EQ(mib_chain_add(table, &row), 1);
        EXPECT_EQ(mib_chain_delete(table, 0), 1);
    }
    EXPECT_EQ(row.ulIndex, 42u);
    EXPECT_EQ(mib_chain_register(nullptr, 1), -1);
}

}  // namespace table_test
