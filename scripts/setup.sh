# Shared by the scripts: makes sure the Debian packages the build needs are
# there. As root it installs what is missing; otherwise it prints the one apt-get line to run.
TAVRILL_PACKAGES="cmake ninja-build g++ lld pkg-config qt6-base-dev qt6-svg-dev libplist-dev libxxhash-dev xxhash zip unzip xvfb xauth locales icnsutils"

# With arguments, makes sure of those packages instead (e.g. tavrill_setup clang-format).
tavrill_setup() {
    local missing=()
    local pkg
    local wanted=${*:-$TAVRILL_PACKAGES}
    for pkg in $wanted; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if ! command -v apt-get >/dev/null 2>&1; then
        echo "Missing packages (${missing[*]}); install Qt 6, libplist, CMake and Ninja for your system." >&2
        return 1
    fi
    if [ "$(id -u)" -ne 0 ]; then
        echo "Please install the build dependencies first:" >&2
        echo "  sudo apt-get install -y ${missing[*]}" >&2
        return 1
    fi
    echo "Installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Configures (once) and builds a preset; extra arguments go to the build.
tavrill_build() {
    local preset=$1
    shift
    local dir=build
    [ "$preset" = default ] || dir="build-$preset"
    # A compiler cache, when the machine has one, makes a rebuild of unchanged sources cheap;
    # paths below the checkout are hashed relative to it, so another clone reuses the cache.
    local launcher=()
    if command -v ccache >/dev/null 2>&1; then
        launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
        export CCACHE_BASEDIR="$PWD"
    fi
    if [ ! -f "$dir/build.ninja" ]; then
        cmake --preset "$preset" "${launcher[@]}" >/dev/null || return 1
    fi
    cmake --build "$dir" "$@"
}
