# The steps of the round that ./dev run shows. A file of round.d is a list of them:
#
#   step "What the daemon can do" kyctl commands
#   expect "echo"
#
# kyctl asks the daemon of this round, `kyctl_at PORT …` another one, and
# `fails STATUS TITLE COMMAND…` is a step that is meant to fail.

last_output=
last_status=0

# step TITLE COMMAND…: shows the title, the command line and what it printed; it has to succeed.
step() {
    run_step 0 "$@"
}

# fails STATUS TITLE COMMAND…: a step that has to end with that status.
fails() {
    run_step "$@"
}

run_step() {
    local wanted=$1 title=$2
    shift 2
    steps=$((steps + 1))
    printf '\n-- %s\n$ %s\n' "$title" "$(shown_line "$@")"
    last_status=0
    last_output=$("$@" 2>&1) || last_status=$?
    [ -z "$last_output" ] || printf '%s\n' "$last_output"
    [ $last_status -eq "$wanted" ] || unexpected "status $last_status, not $wanted"
}

# expect TEXT…: the output of the last step holds each of the texts.
expect() {
    local text
    for text in "$@"; do
        case $last_output in
            *"$text"*) ;;
            *) unexpected "no '$text' in the answer" ;;
        esac
    done
}

unexpected() {
    failures=$((failures + 1))
    echo "!! $1"
}

# The line as a person types it: with the port, and quotes where the shell needs them.
shown_line() {
    local word line=
    case $1 in
        kyctl) shift && set -- kyctl --port "$KY_PORT" "$@" ;;
        kyctl_at) shift && set -- kyctl --port "$@" ;;
    esac
    for word in "$@"; do
        case $word in
            '' | *[!A-Za-z0-9_./:=,%@+-]*) word="'$word'" ;;
        esac
        line="$line $word"
    done
    printf '%s' "${line# }"
}

kyctl() {
    "$bin/kyctl" --port "$KY_PORT" "$@"
}

kyctl_at() {
    "$bin/kyctl" --port "$@"
}
