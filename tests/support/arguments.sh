# For the test scripts that are given several commands, each with arguments of its own, parted by "--".

# until_dashes LIST "$@": puts the arguments up to the first "--", or all, into the array LIST.
until_dashes() {
    local -n list=$1
    shift
    list=()
    while [[ $# -gt 0 && $1 != -- ]]; do
        list+=("$1")
        shift
    done
}
