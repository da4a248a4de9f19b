# Completes quillorne-tools in fish: subcommands, options and their values, as the program's own help has them.
function __quillorne_tools_subcommand
    string match --invert -- '-*' (commandline --tokenize --cut-at-cursor --current-process)[2..-1] | head -n 1
end
function __quillorne_tools_complete
    set -l before (commandline --tokenize --cut-at-cursor --current-process)[-1]
    set -l subcommand (__quillorne_tools_subcommand)
    set -l help (LC_ALL=C quillorne-tools $subcommand --help 2>/dev/null)
    if string match --quiet -- '-*' (commandline --current-token)
        printf '%s\n' $help | sed -nE 's/^ +(-[a-z],)?(--[a-z-]+).*/\2/p'
    else if test -z "$subcommand"
        printf '%s\n' $help | sed -nE '/^Subcommands:/,$s/^  ([a-z]+) +(.*)/\1\t\2/p'
    else if string match --quiet -- '--*' $before
        printf '%s\n' $help | sed -nE "s/^ +(-[a-z],)?$before [^{]*[{]([^}]*)[}].*/\2/p" |
            sed -E 's/->[0-9]+//g' | tr , '\n'
    end
end
complete --command quillorne-tools --condition 'test -z (__quillorne_tools_subcommand)""' --no-files
complete --command quillorne-tools --arguments '(__quillorne_tools_complete)'
