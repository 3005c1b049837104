/** The board's own folders: the mounted FUSE tree and where its parts are shown. */
#pragma once

#include "terminal/root/new_root.h"

#include <string>

namespace kt::terminal {

/** One FUSE mount. It asks nothing of its server before show() is called. Throws setup_failure. */
class board_view {
public:
    explicit board_view(const new_root& root);

    /** The server's end, given away: as long as one copy is open, a dead server's board looks alive. */
    descriptor take_device() { return std::move(device_); }

    /** The minor device number of all its files. */
    int device_number() const { return device_number_; }

    /** Puts the board's part at @p path over what lies there. */
    void show(const std::string& path) const { show_at(path, path); }
    /** Makes folders and shows all parts but those of /proc; with them come the host's harmless device nodes. */
    void show_all() const;

private:
    void show_at(const std::string& part, const std::string& path) const;
    void show_settings_of_ppp() const;

    const new_root& root_;
    std::string mounted_at_;
    descriptor device_;
    int device_number_ = 0;
};

/** Opens the folder that keeps /kt and /mnt/data: @p state, or one in memory that nobody else can reach. */
descriptor open_state(const std::string& state);

} // namespace kt::terminal
