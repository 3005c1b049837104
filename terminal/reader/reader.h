/** "/dev/kt_nfc": the contactless reader as the kernel's device for it. */
#pragma once

#include "terminal/model/board.h"
#include "terminal/model/node.h"
#include "terminal/reader/chip.h"

#include <memory>
#include <string_view>

namespace kt::terminal {

/** The only place of a reader. */
inline constexpr std::string_view reader_path = "/dev/kt_nfc";

/** Threads: any. */
class reader : public node {
public:
    reader() : node(S_IFREG | 0600) {}
    ~reader() override;

    bool is_device() const override { return true; }
    result<std::unique_ptr<open_file>> open(int flags) override;

    chip& driver() { return *chip_; }

private:
    class opened;

    const std::shared_ptr<chip> chip_ = std::make_shared<chip>();
};

/** Makes the kind "reader" known to a board; it has no options. */
void know_readers(board& known);

/** The board's reader; null: there is none. */
std::shared_ptr<reader> reader_at(const board& searched);

} // namespace kt::terminal
