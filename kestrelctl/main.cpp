// Where the administrator's tool begins.
#include "kestrelctl/command_table.h"

int main(int count, char** words) { return kestrelctl::Run(kestrelctl::Commands(), count, words); }
