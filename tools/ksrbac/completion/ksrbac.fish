# fish completion for ksrbac: the program itself tells what may stand at the cursor.

function __ksrbac_complete
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    set -l answer (command $words[1] complete fish -- $words "$current" 2>/dev/null)
    set -l kind $answer[1]
    set -e answer[1]
    test (count $answer) -gt 0; and printf '%s\n' $answer
    # The functions below want the path without its quotes, the last of which may be open.
    set -l typed (string replace -r -- '^--[^=]*=' '' "$current")
    set -l path (string unescape -- "$typed"); or set path (string trim --left --chars "'\"" -- "$typed")
    switch "$kind"
        case files
            __fish_complete_path "$path"
        case directories
            __fish_complete_directories "$path" ''
        case programs
            __fish_complete_command
    end
end

complete -c ksrbac -f -a '(__ksrbac_complete)'
