# Completes quillorne-tools in bash: subcommands, options and their values, as the program's own help has them.
_quillorne_tools() {
    local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} subcommand='' word found
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || { subcommand=$word; break; }
    done
    local help
    help=$(LC_ALL=C "${COMP_WORDS[0]}" ${subcommand:+"$subcommand"} --help 2>/dev/null)
    if [[ $current == -* ]]; then
        found=$(sed -nE 's/^ +(-[a-z],)?(--[a-z-]+).*/\2/p' <<<"$help")
    elif [[ -z $subcommand ]]; then
        found=$(sed -nE '/^Subcommands:/,$s/^  ([a-z]+) .*/\1/p' <<<"$help")
    elif [[ $before == --* ]]; then
        found=$(sed -nE "s/^ +(-[a-z],)?$before [^{]*[{]([^}]*)[}].*/\2/p" <<<"$help" | sed -E 's/->[0-9]+//g; s/,/ /g')
    fi
    mapfile -t COMPREPLY < <(compgen -W "$found" -- "$current")
}
complete -o default -F _quillorne_tools quillorne-tools
