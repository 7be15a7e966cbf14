# Completion of kzstat for bash. Source this file, or put it into a folder of bash-completion.

_kzstat() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} words=
    local range='--from --to --skip-warmup --all'
    COMPREPLY=()

    if ((COMP_CWORD == 1)); then
        words='show report serve compare verdict export merge note check --help --version'
    elif [[ $previous == --sort ]]; then
        words='name type count rate min mean p50 p95 p99 max stddev sum last'
    elif [[ $previous == --format ]]; then
        words='csv json influx messages'
        [[ $command != compare ]] || words='table json'
        [[ $command != verdict ]] || words='text json junit github'
    elif [[ $previous == --at || $previous == --from || $previous == --to || $previous == --fail-if ||
            $previous == --least || $previous == --percentiles || $previous == --require || $previous == --port ||
            $previous == --bind ]]; then
        return
    elif [[ $previous == --token-file || $previous == --tls-cert || $previous == --tls-key ||
            $previous == --conditions ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        compopt -o filenames 2>/dev/null
        return
    elif [[ $word == -* ]]; then
        case $command in
            show) words="--sort --follow --percentiles $range --help" ;;
            report) words="--output --least --percentiles $range --help" ;;
            serve) words='--port --bind --token-file --tls-cert --tls-key --help' ;;
            compare) words="--fail-if --least --format --percentiles $range --help" ;;
            verdict) words="--require --conditions --baseline --store --format $range --help" ;;
            export) words="--format --spreadsheet-safe --percentiles --buckets ${range% --all} --help" ;;
            merge) words='--output --help' ;;
            note) words='--at --help' ;;
            check) words='--help' ;;
        esac
    else
        mapfile -t COMPREPLY < <(compgen -o filenames -f -X '!*.kzj' -- "$word"; compgen -d -- "$word")
        compopt -o filenames 2>/dev/null
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -F _kzstat kzstat
