/** The root folder that the program will see, while it is put together. */
#pragma once

#include "terminal/descriptor.h"

#include <string>

namespace kt::terminal {

/** What a mount forbids, besides set-user-id programs, which it always does. */
enum class access_kind {
    read_only, /**< No writing and no device nodes. */
    writable,  /**< No device nodes. */
    devices,   /**< No changes to the nodes, but what they stand for is reached. */
};

/** A detached copy of a mounted tree, ready to be put somewhere. */
class tree {
public:
    /** Copies what lies at @p path; with what is mounted below it if @p whole. Empty, with errno, if that failed. */
    static tree copy(const std::string& path, bool whole = true);

    explicit operator bool() const { return static_cast<bool>(mount_); }
    /** Forbids; false with errno. */
    bool restrict(access_kind access, bool whole = true) const;
    int get() const { return mount_.get(); }

private:
    descriptor mount_;
};

/** Paths are absolute, as the program will see them. Links are followed as if this were the root. Throws setup_failure.
 */
class new_root {
public:
    new_root();

    /** O_PATH descriptor of what lies there; empty if nothing does. */
    descriptor find(const std::string& path) const;
    /** Makes the folder and those above it. */
    descriptor make_folder(const std::string& path) const;
    /** Makes an empty file to mount over, and the folders above it. */
    descriptor make_file(const std::string& path) const;
    void make_link(const std::string& path, const std::string& target) const;

    /** Puts a tree over what lies at a path. */
    void put(const tree& what, const std::string& path) const;
    /** Mounts a new file system over a folder, which is made if need be. */
    void mount_new(const char* type, const std::string& path, unsigned long flags, const char* options) const;

    /** The path by which this process reaches it until then. */
    static std::string outside(const std::string& path);
    /** Makes it "/" of all processes of this mount namespace; the host's root is gone from it. */
    void enter() const;

private:
    descriptor root_;
};

} // namespace kt::terminal
