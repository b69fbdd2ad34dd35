// SPDX-License-Identifier: MIT
#pragma once

#include <host/options/optiontable.h>

/// All options of the program: those of the host, and those that only a command line has.
namespace CommandOptions
{

const OptionTable &table();

}
