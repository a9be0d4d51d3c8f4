// The commands of kestrelctl.
#pragma once

#include <span>

#include "kestrelctl/cli.h"

namespace kestrelctl {

std::span<const Command> Commands();

}  // namespace kestrelctl
