// Keys of INI files, through iniparser: every call loads the file afresh, and a change writes all of it anew.
#include "base/configuration.h"

#include "base/decimal.h"
#include "base/failure.h"
#include "kt_driver/config.h"

#include <cstdio>
#include <cstring>
#include <iniparser/iniparser.h>
#include <memory>

namespace kt {

namespace {

constexpr char settings_file[] = "/mnt/data/autosuspend.ini";
constexpr char settings_section[] = "Property";

struct dictionary_freer {
    void operator()(dictionary* loaded) const { iniparser_freedict(loaded); }
};
using dictionary_ptr = std::unique_ptr<dictionary, dictionary_freer>;

dictionary_ptr load(const char* path)
{
    dictionary_ptr loaded(iniparser_load(path));
    if (loaded == nullptr) {
        const errno_keeper keeper;
        (void)std::puts("dictionary_new error");
    }
    return loaded;
}

/** Section, colon and key: how iniparser addresses a key. */
class key_name {
public:
    key_name(const char* section, const char* key) : length_(std::snprintf(text_, sizeof text_, "%s:%s", section, key))
    {
    }

    bool fits() const { return length_ >= 0 && static_cast<std::size_t>(length_) < sizeof text_; }
    const char* c_str() const { return text_; }

private:
    char text_[1024] = {};
    int length_;
};

/** Hands the key's text to @p take; that of an absent key is "0". */
template <typename Take>
int read_key(const char* path, const key_name& name, Take take)
{
    const dictionary_ptr loaded = load(path);
    if (loaded == nullptr)
        return -1;
    const char* const text = iniparser_getstring(loaded.get(), name.c_str(), "0");
    take(text != nullptr ? text : "0");
    return 0;
}

} // namespace

int store_setting(const char* key, int value)
{
    char text[128] = {};
    (void)std::snprintf(text, sizeof text, "%d", value);
    return kt_ini_config(settings_file, settings_section, key, text);
}

int stored_setting(const char* key)
{
    char text[128] = {};
    (void)read_key(settings_file, {settings_section, key},
                   [&](const char* found) { (void)std::snprintf(text, sizeof text, "%s", found); });
    return signed_decimal_value(text);
}

} // namespace kt

int kt_ini_config(const char* path, const char* section, const char* key, const char* value)
{
    if (path == nullptr || section == nullptr || key == nullptr || value == nullptr)
        return kt::refuse(EINVAL);
    const kt::key_name name(section, key);
    if (!name.fits())
        return kt::refuse(EINVAL);

    const kt::dictionary_ptr loaded = kt::load(path);
    if (loaded == nullptr)
        return 0; // a key cannot be made in a file that is not there
    std::FILE* const file = std::fopen(path, "w");
    if (file == nullptr) {
        const kt::errno_keeper keeper;
        (void)std::printf("cannot open %s\n", path);
        return 0;
    }
    iniparser_dump(loaded.get(), stderr); // the old contents, which are gone from the file
    if (section[0] != '\0' && iniparser_find_entry(loaded.get(), section) == 0)
        (void)iniparser_set(loaded.get(), section, nullptr); // keys of sections that are not there are not written
    (void)iniparser_set(loaded.get(), name.c_str(), value);
    iniparser_dump_ini(loaded.get(), file);
    (void)std::fclose(file);
    return 0;
}

int kt_ini_read(const char* path, const char* section, const char* key, char* out)
{
    if (path == nullptr || section == nullptr || key == nullptr || out == nullptr)
        return kt::refuse(EINVAL);
    const kt::key_name name(section, key);
    if (!name.fits())
        return kt::refuse(EINVAL);
    out[0] = '\0';
    return kt::read_key(path, name,
                        [&](const char* text) { (void)std::strcpy(out, text); }); // NOLINT: no limit is stated
}
