# bash completion of qip-smooth: commands, the options of each, their choices, and files.

_qip_smooth() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word i command=
    local -A options=(
        [gauss]="--kernel --sample --gain --round --depth --mask --mask-out --reset-mask --mask-mode --result-mode --threshold"
        [half]="--axis --mask --mask-out"
        [binomial]="--passes --mask --mask-out"
        [result-mask]="--kernel --sample --threshold --centre-mask"
        [info]=""
    )
    local common="--help --out-dir --jobs --quiet --raw --format --origin --roi --fill --client --cpu --threads --repeat --json"
    local flags="--help --version --quiet --json --round"
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ $word == --?* && " $flags " != *" $word "* ]]; then # its value is no command
            if [[ ${COMP_WORDS[i + 1]} == = ]]; then
                ((++i))
            fi
            ((++i))
        elif [[ " ${!options[*]} " == *" $word "* ]]; then
            command=$word
            break
        fi
    done
    # --option=value comes as three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi

    COMPREPLY=()
    local choices
    case $previous in
    --depth) choices="8 16" ;;
    --axis) choices="xy x y" ;;
    --mask-mode | --result-mode) choices="0 1" ;;
    --format) choices="png tiff pgm raw" ;;
    --cpu) choices="auto plain sse avx2 neon" ;;
    --out-dir)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    --kernel | --sample | --gain | --threshold | --passes | --jobs | --raw | --origin | --roi | --fill | --client | \
        --threads | --repeat)
        return
        ;;
    *)
        if [[ $current == -* ]]; then
            choices="$common ${command:+${options[$command]}}"
            if [[ -z $command ]]; then
                choices+=" --version"
            fi
        elif [[ -z $command ]]; then
            choices="${!options[*]}"
        else
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
        fi
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
}
complete -o filenames -F _qip_smooth qip-smooth
