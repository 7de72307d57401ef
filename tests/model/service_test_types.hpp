#pragma once

namespace model_test {

// A service interface to register, and an implementation that says which one it is.
struct Service {
    virtual ~Service() = default;
    virtual int id() const = 0;
};

struct Numbered : Service {
    explicit Numbered(int n) : n(n) {}
    int id() const override { return n; }
    int n;
};

}  // namespace model_test
