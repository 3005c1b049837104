/** Turning a stand-in's report into a journal entry and an answer. */
#include "terminal/model/report.h"

#include "terminal/model/board.h"
#include "terminal/model/errno_names.h"

#include <cstring>
#include <vector>

namespace kt::terminal {

namespace {

std::vector<std::string> split(std::string_view fields)
{
    std::vector<std::string> all;
    while (!fields.empty()) {
        const std::size_t end = fields.find('\0');
        all.emplace_back(fields.substr(0, end));
        fields.remove_prefix(end == std::string_view::npos ? fields.size() : end + 1);
    }
    return all;
}

/** The text of a shell's -c, which may be joined to other options ("-ec"); the operand is the first behind the options.
 */
const std::string* command_text(const std::vector<std::string>& arguments)
{
    bool wanted = false;
    for (std::size_t at = 1; at < arguments.size(); ++at) {
        const std::string& word = arguments[at];
        if (word == "--")
            return wanted && at + 1 < arguments.size() ? &arguments[at + 1] : nullptr;
        if (word.size() > 1 && word[0] == '-')
            wanted = wanted || word.find('c') != std::string::npos;
        else
            return wanted ? &word : nullptr;
    }
    return nullptr;
}

std::string instruction(const program_answer& answer)
{
    if (!answer.run.empty())
        return "run " + answer.run + '\n' + answer.output;
    if (!answer.power.empty())
        return answer.power + '\n' + answer.output;
    return "exit " + std::to_string(answer.status) + '\n' + answer.output;
}

} // namespace

class report::opened : public open_file {
public:
    explicit opened(board& owner) : board_(owner) {}

    void write(request_ptr asked, std::string_view data, off_t) override
    {
        event happened;
        happened.pid = asked->from().pid;
        happened.tid = asked->from().tid;
        happened.arguments = split(data);
        const std::string& called = happened.arguments.empty() ? std::string() : happened.arguments[0];
        name_ = called.substr(called.rfind('/') + 1);
        happened.path = name_;
        const std::string* command = name_ == "sh" ? command_text(happened.arguments) : nullptr;
        happened.kind = command != nullptr ? "shell" : "program";
        if (command != nullptr)
            happened.data = *command;

        fault_ = board_.failures().next(name_, access::run);
        if (fault_ && fault_->error != 0)
            happened.error = errno_name(fault_->error);
        const program_answer answer = board_.program(name_);
        if (happened.error.empty() && !answer.power.empty()) {
            board_.events().append(happened);
            happened.kind = "power";
            happened.data = answer.power;
            happened.arguments.clear();
        }
        board_.events().append(std::move(happened));
        answer_ =
            fault_ && fault_->error != 0 ? std::string("fail ") + strerror(fault_->error) + '\n' : instruction(answer);
        asked->count(data.size());
    }

    void read(request_ptr asked, std::size_t size, off_t) override
    {
        asked->bytes(std::string_view(answer_).substr(0, size));
    }

    std::optional<verdict> held() const override { return fault_; }

private:
    board& board_;
    std::string name_;
    std::string answer_;
    std::optional<verdict> fault_;
};

result<std::unique_ptr<open_file>> report::open(int)
{
    std::unique_ptr<open_file> made = std::make_unique<opened>(board_);
    return made;
}

} // namespace kt::terminal
