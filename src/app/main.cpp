// corvel: the command line.
#include <iostream>

#include "cli/CommandTable.h"

int main(int argc, char** argv) { return RunCorvel(argc, argv, std::cout, std::cerr); }
