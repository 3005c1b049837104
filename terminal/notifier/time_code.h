/** How the time functions that the kernel lends each program (the vDSO) are turned into plain system calls. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kt::terminal {

/** A change of the code, at a place of the image. */
struct code_change {
    std::size_t offset = 0;
    std::string before;
    std::string after;
};

/** One function. */
struct function_change {
    std::string name;
    /**
     * True: may be made while threads are anywhere in the function. The last of the changes is then one aligned word in
     * which a single instruction becomes a jump; no other instruction that a thread could be about to run is touched,
     * and what the function had done before that instruction is undone behind the jump. False: only for a program that
     * has not come to call it.
     */
    bool while_running = false;
    std::vector<code_change> changes; /**< In the order in which they are made. */
};

/** What the first page of an image says of its whole size, in pages of 4096 bytes; 0: it is none. */
std::size_t image_size(std::string_view first_page);

/** The changes for an image; empty for a processor or a layout that is not known. */
std::vector<function_change> plain_calls(std::string_view image);

} // namespace kt::terminal
