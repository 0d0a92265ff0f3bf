# Completes the command line of intfaddr in bash:
#
#     source intfaddr.bash
#
# What may come says the program's own help, so that there is nothing to be kept up with. The names
# of interfaces and network namespaces are those of this machine.

# The help of the given words; nothing where there is no such command.
_intfaddr_help() {
    "${COMP_WORDS[0]/#\~/$HOME}" "$@" --help 2> /dev/null
}

# "Subcommands:" and what stands below it.
_intfaddr_commands() {
    _intfaddr_help | sed -n '/^Subcommands:/,$ s/^  \([a-z0-9-]*\) .*/\1/p'
}

# Each option, of "  -h,--help" and "  --no-unnumbered{false}" too.
_intfaddr_options() {
    sed -n 's/^  \(-[^ ,{]*,\)*\(--[a-z0-9-]*\).*/\2/p'
}

# The words of "ADDR/LEN intf NAME [vrf NAME]", "add|del ADDR" and "[family 4|6]" that are typed as
# they stand.
_intfaddr_words() {
    sed -n 's/^  WORDS//p' | tr '[]|, ' '\n' | grep -x '[a-z][a-z]*'
}

# Of the words of the standard input, those that begin with what is typed. They are compared and no
# more: `compgen -W` would carry out what stands in the name of an interface.
_intfaddr_beginning() {
    local choice
    tr ' ' '\n' | while IFS= read -r choice; do
        [[ $choice && $choice == "$1"* ]] && printf '%s\n' "$choice"
    done
}

_intfaddr() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} choices help
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <({ _intfaddr_commands; echo --help --version; } |
            _intfaddr_beginning "$word")
        return
    fi
    help=$(_intfaddr_help "$command")
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(_intfaddr_options <<< "$help" | _intfaddr_beginning "$word")
        return
    fi
    case $before in
        intf | lowest6 | linklocal)
            choices=$(ls /sys/class/net 2> /dev/null)
            ;;
        vrf)
            choices="default $(ls /run/netns 2> /dev/null | sed -n 's/^ns-//p')"
            ;;
        family)
            choices="4 6"
            ;;
        state)
            choices="PREFERRED DEPRECATED INVALID INACCESSIBLE TENTATIVE DUPLICATE"
            ;;
        --run-dir | --trouble-dir)
            mapfile -t COMPREPLY < <(compgen -d -- "$word")
            return
            ;;
        --group)
            mapfile -t COMPREPLY < <(compgen -g -- "$word")
            return
            ;;
        *)
            choices=$(_intfaddr_words <<< "$help")
            ;;
    esac
    mapfile -t COMPREPLY < <(_intfaddr_beginning "$word" <<< "$choices")
    # A file stands where the help says so, and behind what takes one.
    if grep -q '^  FILE' <<< "$help" || grep -qF -- " $before FILE" <<< "$help"; then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word")
    fi
}

complete -o filenames -F _intfaddr intfaddr
