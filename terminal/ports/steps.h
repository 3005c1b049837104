/** Things to do later, in order, each once: a list of functions that need not be copied. */
#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace kt::terminal {

/** Threads: one at a time. */
class steps {
public:
    template <typename Function>
    void add(Function function)
    {
        all_.push_back(std::make_unique<held<Function>>(std::move(function)));
    }

    bool empty() const { return all_.empty(); }

    /** Does them all; whoever adds to a list while it runs adds to another one. */
    void run()
    {
        const auto now = std::exchange(all_, {});
        for (const auto& each : now)
            each->run();
    }

private:
    struct step {
        virtual ~step() = default;
        virtual void run() = 0;
    };

    template <typename Function>
    struct held : step {
        explicit held(Function given) : function(std::move(given)) {}
        void run() override { function(); }
        Function function;
    };

    std::vector<std::unique_ptr<step>> all_;
};

} // namespace kt::terminal
