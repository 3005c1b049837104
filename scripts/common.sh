# What the scripts share; sourced from the root of the checkout.

# One line that says what happens now, with the time since the first script began.
KT_STARTED=${KT_STARTED:-$(date +%s)}
export KT_STARTED
step() {
    printf '[%2d:%02d] %s\n' $((($(date +%s) - KT_STARTED) / 60)) $((($(date +%s) - KT_STARTED) % 60)) "$*"
}

die() {
    echo "${0##*/}: $*" >&2
    exit 1
}

# Configures PRESET and builds it, or only the TARGETs; quiet unless something fails.
build_preset() { # PRESET [TARGET...]
    local preset=$1 log=build/$1.configure.log target arguments=()
    shift
    step "$preset: building"
    mkdir -p build
    case $preset in
    i386 | mipsel) scripts/make-sysroot "$preset" "build/sysroot/$preset" ;;
    esac
    cmake --preset "$preset" >"$log" 2>&1 || {
        cat "$log"
        die "the $preset build cannot be configured: see above"
    }
    for target in "$@"; do
        arguments+=(--target "$target")
    done
    cmake --build --preset "$preset" --parallel "$(nproc)" "${arguments[@]}" -- --quiet
}
