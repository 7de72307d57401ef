// ostrel-eval: how much of a model's reply reaches the user, measured on a body of Ostrel code.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>

#include "evaluation.hpp"

int main(int argc, char** argv) {
    try {
        int status = 0;
        const auto options = ostrel_eval::parseCommandLine(argc, argv, status);
        if (!options) return status;
        // A run with a real model can take hours: find out first whether its result can be written. Opened
        // to append, so that an earlier result stays until this run has one.
        if (options->jsonFile && !std::ofstream(*options->jsonFile, std::ios::binary | std::ios::app))
            throw std::runtime_error("cannot write " + *options->jsonFile + ": " + std::strerror(errno));
        const bool terminal = isatty(STDERR_FILENO) != 0;
        std::size_t shown = static_cast<std::size_t>(-1);
        const auto progress = [terminal, &shown](std::size_t done, std::size_t total) {
            if (!terminal || done == shown) return;
            shown = done;
            std::cerr << "\rostrel-eval: " << done << " / " << total << " cases" << std::flush;
        };
        const ostrel_eval::EvalReport report = ostrel_eval::evaluate(*options, progress);
        if (terminal) std::cerr << '\n';
        ostrel_eval::writeTables(std::cout, report);
        if (options->worst > 0) ostrel_eval::writeWorstCases(std::cout, report, options->worst);
        if (options->jsonFile) {
            std::ofstream json(*options->jsonFile, std::ios::binary | std::ios::trunc);
            ostrel_eval::writeJson(json, report);
            if (!json) throw std::runtime_error("cannot write " + *options->jsonFile);
        }
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "ostrel-eval: " << e.what() << '\n';
        return 1;
    }
}
