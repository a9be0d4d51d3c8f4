// The administrator's tool.
#include "kestrelctl/command_table.h"

int main(int count, char** words) { return kestrelctl::Run(kestrelctl::Commands(), count, words); }
