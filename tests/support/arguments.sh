# For test scripts whose arguments are several commands. Each command has arguments of its own. "--" stands between two
# commands.

# until_dashes LIST "$@": puts the arguments before the first "--" into the array LIST, or all arguments without a "--".
until_dashes() {
    local -n list=$1
    shift
    list=()
    while [[ $# -gt 0 && $1 != -- ]]; do
        list+=("$1")
        shift
    done
}
