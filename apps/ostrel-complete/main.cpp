// ostrel-complete: prints the completion the library gives for a cursor in an Ostrel file.
#include <unistd.h>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "command_line.hpp"
#include "completion_run.hpp"

int main(int argc, char** argv) {
    try {
        const ostrel_complete::CommandLine line =
            ostrel_complete::parseCommandLine(std::vector<std::string>(argv + 1, argv + argc));
        if (line.help) {
            std::cout << ostrel_complete::usage();
            return 0;
        }
        ostrel_complete::runCompletion(line, std::cout, isatty(STDOUT_FILENO) != 0);
        std::cout.flush();
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "ostrel-complete: " << e.what() << '\n';
        return 1;
    }
}
