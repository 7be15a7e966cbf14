# Completion of kzload for bash. Source this file, or put it into a folder of bash-completion.

_kzload() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    COMPREPLY=()

    case $previous in
        --messages | --journal | --conditions)
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            compopt -o filenames 2>/dev/null
            return
            ;;
        --name | --clients | --threads | --duration | --slice | --think-time | --require | --abort-if)
            return
            ;;
    esac
    [[ $word == -* ]] || return
    mapfile -t COMPREPLY < <(compgen -W '--name --clients --threads --duration --slice --think-time
        --messages --journal --no-journal --quiet --require --conditions --abort-if --help' -- "$word")
}

complete -F _kzload kzload
