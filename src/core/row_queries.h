#pragma once

#include <cstdint>

#include "core/result.h"
#include "core/rows.h"

// Operations that only tell what a table holds, for every table alike.

namespace appcfg {

/// Stores the number of rows in `count`. 0 or IGD_CM_GLOBAL_INPUT_PARA_ERROR.
template <class Row>
int32_t report_count(const TableOf<Row>& table, uint32_t* count, uint32_t size) {
    if (!is_record(count, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    *count = static_cast<uint32_t>(count_rows(table));
    return 0;
}

/// Stores every row's index, in table order, one word each, in `indexes`, which is `size` bytes
/// long. IGD_CM_OPERATE_FAIL when there are more rows than fit.
template <class Row, class Index>
int32_t report_indexes(const TableOf<Row>& table, Index Row::*key, uint32_t* indexes,
                       uint32_t size) {
    if (!indexes) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return list_rows(table, indexes, size, [=](const Row& row) { return uint32_t{row.*key}; })
               ? 0
               : IGD_CM_OPERATE_FAIL;
}

/// The same with whole rows.
template <class Row>
int32_t report_rows(const TableOf<Row>& table, Row* rows, uint32_t size) {
    if (!rows) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    return list_rows(table, rows, size, [](const Row& row) { return row; }) ? 0
                                                                            : IGD_CM_OPERATE_FAIL;
}

}  // namespace appcfg
