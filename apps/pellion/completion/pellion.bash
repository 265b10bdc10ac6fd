# Completion of pellion's commands, options and files. What there is to complete, the program's own --help says.

_pellion() {
  local word=${COMP_WORDS[COMP_CWORD]} command='' words=''
  (( COMP_CWORD > 1 )) && command=${COMP_WORDS[1]}
  case $command/$word in
    */-*) words=$(pellion ${command:+"$command"} --help 2> /dev/null | sed -nE 's/^  (-[a-z],)?(--[a-z-]+).*/\2/p') ;;
    /*) words=$(pellion --help 2> /dev/null | sed -n '/^Subcommands:/,/^$/ s/^  \([a-z]\{1,\}\) .*/\1/p') ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o bashdefault -o default -F _pellion pellion
