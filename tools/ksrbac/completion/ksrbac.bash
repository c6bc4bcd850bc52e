# bash completion for ksrbac: the program itself tells what may stand at the cursor.

_ksrbac() {
    local LC_ALL=C kind
    local current=${COMP_WORDS[COMP_CWORD]}
    local -a answer
    COMPREPLY=()
    mapfile -t answer < <(command "${COMP_WORDS[0]/#\~/$HOME}" complete bash -- "${COMP_LINE:0:COMP_POINT}" 2> /dev/null)
    kind=${answer[0]-words}
    COMPREPLY=("${answer[@]:1}")
    [[ $current == = ]] && current=''
    case $kind in
    files)
        compopt -o default 2> /dev/null
        ;;
    directories)
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -S / -- "$current")
        compopt -o nospace 2> /dev/null
        ;;
    programs)
        mapfile -t COMPREPLY < <(compgen -c -- "$current")
        ;;
    esac
    # What the shell knows is sorted, and so is what the program says.
    compopt -o nosort 2> /dev/null
}

complete -F _ksrbac ksrbac
