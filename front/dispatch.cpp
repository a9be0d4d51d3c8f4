// The dispatch table, from the commands' rows.
#include "front/dispatch.h"

#include "front/core/command_rows.h"
#include "front/core/commands.h"

namespace kestrel {

namespace {

struct DispatchRow {
    CommandNumber number;
    CommandRoutine routine;
};

constexpr DispatchRow kDispatchTable[] = {
#define DISPATCH_ROW(number, word, routine, ...) {number, routine},
    KESTREL_COMMAND_ROWS(DISPATCH_ROW)
#undef DISPATCH_ROW
};

}  // namespace

CommandRoutine FindRoutine(CommandNumber number) {
    for (const DispatchRow& row : kDispatchTable) {
        if (row.number == number) return row.routine;
    }
    return nullptr;
}

}  // namespace kestrel
