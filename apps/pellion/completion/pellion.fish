# Completion of pellion's commands, options and files. What there is to complete, the program's own --help says.

function __pellion_commands
    pellion --help 2>/dev/null | sed -nE '/^Subcommands:/,/^$/ s/^  ([a-z]+) +(.*)/\1\t\2/p'
end

function __pellion_options
    set -l words (commandline -opc)
    pellion $words[2] --help 2>/dev/null | sed -nE 's/^  (-[a-z],)?(--[a-z-]+)( [A-Z]+)*( x [0-9]+)? +(.*)/\2\t\5/p'
end

complete -c pellion -n 'test (count (commandline -opc)) -eq 1' -f -a '(__pellion_commands)'
complete -c pellion -n 'string match -q -- "-*" (commandline -ct)' -f -a '(__pellion_options)'
