#pragma once

#include <span>

#include "core/log.h"
#include "core/table.h"
#include "platform/include/zu_call.h"

// Records in the log, told from their declarations: a line for each field, "LABEL.FIELD [VALUE].",
// in the module's frame and in the name of the operation. Padding is left out, and so are the
// elements of a group that are all zero.

namespace appcfg {

/// Prints the fields of a platform record; nothing while the gate is closed.
void log_fields(const LogSource& source, const char* operation, int line, const char* label,
                std::span<const platform::RecordField> fields, const void* record);

/// Prints the columns of a row or request, its bitmap last.
void log_columns(const LogSource& source, const char* operation, int line, const Table& table,
                 const void* row);

/// The same for the calling function's operation.
#define LOG_COLUMNS(source, operation, table, row) \
    log_columns(source, operation, __LINE__, table, row)

/// The line before and after a record: `edge` is "info start" or "info end".
#define LOG_BANNER(source, operation, name, edge)                                               \
    LOG_AS(source, operation,                                                                   \
           "============================== %s %s ==============================\r\n\r\n", name, \
           edge)

/// Prints a platform record between its two banners.
template <class Record>
void log_record(const LogSource& source, const char* operation, int line, const char* label,
                const platform::LayoutOf<Record>& layout, const Record& record) {
    LOG_BANNER(source, operation, layout.name, "info start");
    log_fields(source, operation, line, label, layout.fields, &record);
    LOG_BANNER(source, operation, layout.name, "info end");
}

#define LOG_RECORD(source, operation, label, layout, record) \
    log_record(source, operation, __LINE__, label, layout, record)

}  // namespace appcfg
