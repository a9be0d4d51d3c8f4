// The table of kestrelctl's commands, for whoever runs or describes them.
#pragma once

#include <span>

#include "kestrelctl/cli.h"

namespace kestrelctl {

std::span<const Command> Commands();

}  // namespace kestrelctl
