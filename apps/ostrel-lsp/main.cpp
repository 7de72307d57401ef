#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "command_line.hpp"
#include "message_framing.hpp"
#include "message_writer.hpp"
#include "server.hpp"

int main(int argc, char** argv) {
    const auto parsed = ostrel_lsp::parseCommandLine(argc, argv);
    if (const auto* done = std::get_if<ostrel_lsp::CommandLineExit>(&parsed)) {
        (done->status == 0 ? std::cout : std::cerr) << done->text;
        return done->status;
    }
    const auto& options = std::get<ostrel_lsp::ServerOptions>(parsed);
    // A client that closes its end must not kill the server in the middle of a write.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        ostrel_lsp::MessageWriter writer(STDOUT_FILENO);
        ostrel_lsp::FrameReader reader(STDIN_FILENO, options.maxMessageBytes);
        int status = 0;
        {
            ostrel_lsp::Server server(options, writer);
            status = server.run(reader);
            // A worker stuck in a slow model call would hold up the exit until the call's time limit:
            // everything the client needs has been written, so leave at once.
            if (!server.stop()) std::_Exit(status);
        }
        return status;
    } catch (const std::exception& e) {
        std::cerr << "ostrel-lsp: " << e.what() << '\n';
        return 1;
    }
}
