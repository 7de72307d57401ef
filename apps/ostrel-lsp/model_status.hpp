#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace ostrel_lsp {

// What the user is told about the model: a failed reply is otherwise only an empty completion, which
// looks the same as a model with nothing to say. The first failure after a reply (or at the start) is
// told with the reason the AI client logged, then nothing until the model answers again, which is told
// once too. Records the AI client's failures while it lives.
class ModelStatus {
  public:
    ModelStatus();
    ~ModelStatus();
    ModelStatus(const ModelStatus&) = delete;
    ModelStatus& operator=(const ModelStatus&) = delete;

    struct Notice {
        bool failing;
        std::string text;
    };

    // One reply of the model `model` ("the openai model at URL"); the notice to show, if any.
    std::optional<Notice> replied(bool success, const std::string& model);
    // The model was replaced: its next failure is news again.
    void reset();

  private:
    struct Sink;
    std::shared_ptr<Sink> sink_;
    std::mutex mutex_;
    bool failing_ = false;
};

}  // namespace ostrel_lsp
