#!/usr/bin/env bash
# Runs treesum as users do, and has the system's own tools confirm it.
# Usage: treesum_test.sh PROGRAM
# shellcheck disable=SC2317 # the claims are called by their names, at the end
set -u
export LC_ALL=C
umask 022
program=$(realpath "$1")
work=$(mktemp -d)
trap 'chmod -R u+rwx "$work"; rm -rf "$work"' EXIT
chmod 755 "$work" # also for the user without rights

same() { # WHAT EXPECTED ACTUAL
    [[ $2 == "$3" ]] && return
    printf '  %s\n    expected: %q\n    actual:   %q\n' "$1" "$2" "$3"
    failed=1
}

run() { # ARGUMENT...; leaves out, err and status behind
    timeout 120 "$program" "$@" >"$work/out" 2>"$work/err"
    status=$?
    out=$(<"$work/out") err=$(<"$work/err")
}

expect() { # STATUS OUT ERR
    same "status" "$1" "$status"
    same "standard output" "$2" "$out"
    same "standard error" "$3" "$err"
}

# In the program's own order: by the bytes of the names, directory by directory.
expected_sums() { find "$1" -type f -print0 | tr / '\001' | sort -z | tr '\001' / | xargs -0r "${2:-md5sum}"; }

# Runs without the right to read everything. That user may have no way into the build directory.
run_unprivileged() {
    if [[ $(id -u) != 0 ]]; then
        run "$@"
        return
    fi
    mkdir "$work/bin"
    cp "$program" "$(ldd "$program" | awk '/libvesko/ {print $3}')" "$work/bin"
    local nobody=(setpriv --reuid=65534 --regid=65534 --clear-groups)
    local program="$work/bin/run"
    printf '#!/bin/sh\nLD_LIBRARY_PATH=%q exec %s %q "$@"\n' \
        "$work/bin" "${nobody[*]}" "$work/bin/treesum" >"$program"
    chmod 755 "$program"
    run "$@"
}

it_sums_a_tree_in_the_order_of_its_names() {
    mkdir -p t/a t/.hidden t/empty
    local name
    for name in a-b a.c a/x a/.y b .hidden/z; do echo "$name" >"t/$name"; done
    : >t/nothing
    cd t || return
    run
    expect 0 "$(md5sum ./.hidden/z ./a/.y ./a/x ./a-b ./a.c ./b ./nothing)" ""
    cd .. || return
    run t
    expect 0 "$(expected_sums t)" ""
    run --sha1 t/ t/b
    expect 0 "$(expected_sums t/ sha1sum; sha1sum t/b)" ""
    run -- t/b
    expect 0 "$(md5sum t/b)" ""
}

it_writes_crc32_lines_of_the_same_form() {
    printf 123456789 >digits
    : >empty
    run --crc32 digits empty
    expect 0 $'cbf43926  digits\n00000000  empty' ""
}

it_escapes_names_as_the_system_does() {
    mkdir t
    local name
    for name in $'line\nfeed' $'return\r' 'back\slash' $'all\\\r\n\\n' '-dash' ' blank ' $'tab\t' $'\377'; do
        echo "$name" >"t/$name"
    done
    local tool
    for tool in md5sum sha1sum; do
        run "--${tool%sum}" t
        expect 0 "$(expected_sums t "$tool")" ""
        same "$tool -c" "" "$(printf '%s\n' "$out" | $tool --quiet -c 2>&1)"
        printf '%s\n' "$out" >manifest
        run --check manifest
        expect 0 "$($tool -c manifest)" ""
    done
    run t/$'no\nsuch'
    expect 1 "" 'treesum: t/no\nsuch: No such file or directory'
}

it_passes_over_links_and_special_files_inside_a_tree() {
    mkdir -p t/d other
    echo 1 >t/file
    echo 2 >other/file
    ln -s ../other t/linked-directory
    ln -s ../other/file t/linked-file
    ln -s nowhere t/dangling
    ln -s "$(printf '%04000d' 0 | sed 's/.\{100\}/&\//g')" t/long-link
    mkfifo t/d/fifo
    [[ $(id -u) == 0 ]] && mknod t/d/null c 1 3
    run t
    expect 0 "$(md5sum t/file)" ""
    run t/linked-directory t/linked-file
    expect 0 "$(md5sum t/linked-directory/file t/linked-file)" ""
    run t/dangling t/file
    expect 1 "$(md5sum t/file)" "treesum: t/dangling: No such file or directory"
}

it_reads_files_of_any_size_within_the_budget() {
    local size
    for size in 1 3071 3072 3073 114687 114688 114689 229376 5000000; do
        head -c "$size" /dev/urandom >"f$size"
    done
    local budget
    for budget in 4K 5000 65536 2M 100m; do
        run --budget "$budget" .
        expect 0 "$(expected_sums .)" ""
        run "--budget=$budget" --sha1 .
        expect 0 "$(expected_sums . sha1sum)" ""
    done
    run --crc32 --budget 4K f5000000
    expect 0 "$(gzip -c f5000000 | tail -c 8 | od -An -tx4 -N4 | tr -d ' ')  f5000000" ""
}

it_goes_down_as_far_as_paths_can_be_named() {
    local levels
    levels=$(printf 'd/%.0s' {1..2000})
    mkdir -p "t/$levels" && echo deep >"t/${levels}file"
    echo shallow >t/file
    run t
    expect 0 "$(md5sum "t/${levels}file" t/file)" ""
    (cd "t/$levels" && mkdir -p "$(printf 'e/%.0s' {1..100})")
    run t
    same "status" 1 "$status"
    same "standard output" "$(md5sum "t/${levels}file" t/file)" "$out"
    [[ $err == "treesum: t/d/"*"/e: File name too long" && ${#err} -gt 4000 ]] ||
        same "standard error" "treesum: t/d/.../e: File name too long" "$err"
    local long
    long=$(printf 'n%.0s' {1..255})
    mkdir -p "l/$long" && echo long >"l/$long/$long"
    run l
    expect 0 "$(md5sum "l/$long/$long")" ""
}

it_reports_what_it_may_not_read_and_goes_on() {
    mkdir -p t/closed t/listed/below
    touch t/a t/b t/listed/file t/secret
    chmod 000 t/closed t/secret
    chmod 444 t/listed
    run_unprivileged t t/missing
    expect 1 "$(md5sum t/a t/b)" "treesum: t/closed: Permission denied
treesum: t/listed/below: Permission denied
treesum: t/listed/file: Permission denied
treesum: t/secret: Permission denied
treesum: t/missing: No such file or directory"
}

it_reports_a_read_error() {
    echo 1 >file
    run /proc/self/mem file
    expect 1 "$(md5sum file)" "treesum: /proc/self/mem: Input/output error"
}

# The program fills the pipe and waits, long before it comes to the last names.
it_reports_what_vanishes_during_the_walk() {
    mkdir -p t/zz-directory
    touch t/zz-file t/zzz
    local i long
    long=$(printf 'n%.0s' {1..200})
    for i in {1..600}; do : >"t/$i$long"; done
    "$program" t 2>err | {
        read -r _
        rm -r t/zz-directory t/zz-file
        tail -n 1 >last
    }
    same "status" 1 "${PIPESTATUS[0]}"
    same "last line" "$(md5sum t/zzz)" "$(<last)"
    same "standard error" "treesum: t/zz-directory: No such file or directory
treesum: t/zz-file: No such file or directory" "$(<err)"
    "$program" t 2>err | read -r _
    same "status of a closed pipe" 1 "${PIPESTATUS[0]}"
    same "closed pipe" "treesum: standard output: Broken pipe" "$(<err)"
}

it_notices_a_full_disk() {
    echo 1 >file
    md5sum file >manifest
    local arguments
    for arguments in file "--check manifest" --help --version; do
        # shellcheck disable=SC2086 # words of their own
        "$program" $arguments >/dev/full 2>err
        same "status of $arguments" 1 $?
        same "$arguments" "treesum: standard output: No space left on device" "$(<err)"
    done
}

it_stops_while_it_reads_when_interrupted() {
    mkfifo pipe
    echo 1 >file
    local signal
    for signal in INT:130 TERM:143; do
        # In a script a program in the background would ignore the first of them.
        env --default-signal=INT "$program" file pipe file >out 2>err &
        exec 3>pipe # comes back when the program has opened the other end, and waits for more
        sleep 0.2
        kill -"${signal%:*}" $!
        wait $!
        same "status" "${signal#*:}" $?
        exec 3>&-
        same "standard output" "$(md5sum file)" "$(<out)"
        same "standard error" "treesum: interrupted; the rest was left out" "$(<err)"
    done
}

it_gives_the_same_lines_whatever_the_number_of_workers() {
    mkdir -p t/d
    local i
    for i in {1..200}; do head -c $((i * 997)) /dev/zero >"t/d/$i"; done
    run --workers 1 t missing t/d/7 gone
    local one=$out errors=$err
    same "standard error" "treesum: missing: No such file or directory
treesum: gone: No such file or directory" "$errors"
    for i in 2 7 64; do
        run --workers "$i" t missing t/d/7 gone
        expect 1 "$one" "$errors"
    done
    run --workers 64 --budget 4K t missing t/d/7 gone # room for one
    expect 1 "$one" "$errors"
}

it_tells_which_worker_does_not_move_on() {
    mkfifo pipe
    (exec 3>pipe && sleep 3) &
    run --workers 1 --timeout 1 pipe
    expect 0 "$(md5sum </dev/null | sed 's/-$/pipe/')" "treesum: worker 1 does not move on: pipe"
}

it_shows_its_progress_on_a_terminal_alone() {
    command -v script >/dev/null || { echo "  no script(1) here: progress was not looked at"; return; }
    mkfifo pipe
    (exec 3>pipe && sleep 1) &
    TERM=xterm script -qec "'$program' pipe" shown </dev/null >/dev/null
    grep -q 'files, .* MiB/s' shown || same "a line of progress" yes no
    (exec 3>pipe && sleep 1) &
    run pipe
    expect 0 "$(md5sum </dev/null | sed 's/-$/pipe/')" ""
}

it_keeps_a_budget_that_cannot_be_had_from_ending_it() {
    echo 1 >file
    local limited="$program"
    limited() { (ulimit -v 100000 && exec "$limited" "$@"); }
    limited --version >/dev/null 2>&1 || return 0 # a sanitizer needs more than that for itself
    same "line" "$(md5sum file)" "$(limited --budget 1024M file)"
}

it_says_what_failed_behind_what_went_before() {
    echo 1 >file
    "$program" file $'a\033[31mb' '' file >both 2>&1
    same "both streams" "$(md5sum file)
treesum: a\\033[31mb: No such file or directory
treesum: '': No such file or directory
$(md5sum file)" "$(<both)"
}

it_logs_beside_its_results() {
    mkdir t
    echo 1 >t/file
    run --log-level 5 t
    same "standard output" "$(md5sum t/file)" "$out"
    same "records" 2 "$(grep -cE '\[treesum\] \[ver:[0-9.]+\] (trace|info) .* (walking t|summed 1 files)$' <<<"$err")"
    run --log-file log --log-size 1 t
    same "status" 0 "$status"
    same "log file" 1 "$(grep -c 'summed 1 files$' log)"
    run --log-level high t
    expect 2 "" "treesum: not a number: high; try 'treesum --help'"
}

it_reads_standard_input() {
    run - < <(echo text)
    expect 0 "$(echo text | md5sum)" ""
    echo 1 >file
    run --check - < <(md5sum file)
    expect 0 "file: OK" ""
}

it_verifies_as_the_system_does() {
    echo 1 >file
    echo 2 >'back\slash'
    echo 3 >$'line\nfeed'
    echo 4 >$'return\r'
    local good none
    good=$(md5sum file | cut -c 1-32) none=$(md5sum </dev/null | cut -c 1-32)
    md5sum -- * >all
    # Each behind good lines: what the first of all looks like changes how the system reads it.
    local lines=("" "# comment" "junk" " # no comment" "$good" "$good  " "$good *file" "${good^^}  file"
        $' \t'"$good  file" "$none  file" "$none  gone" "$none  ." $'\\'"$none  go\\nne"
        "$good"$'  file\r' "${good}0  file" "${good:1}  file" "\\$good  a\\b" "\\$good  a\\"
        "$none  back\\slash" "\\$none  back\\\\slash" "MD5 (file) = $good" "MD5 (file) = $none"
        "\\MD5 (back\\\\slash) = $good" "MD5 (file) = ${good:1}" "$(head -c 5000 /dev/zero | tr '\0' x)")
    local line sums
    for line in "${lines[@]}"; do
        { cat all; printf '%s\n' "$line"; } >manifest
        sums=$(md5sum -c manifest 2>system)
        run --check manifest
        same "lines for '${line:0:50}'" "$sums" "$out"
        same "messages for '${line:0:50}'" \
            "$(sed "s/^md5sum/treesum/; s/'go'.*'ne'/go\\\\nne/" system)" "$err"
        same "status for '${line:0:50}'" "$([[ -s system ]] && echo 1 || echo 0)" "$status"
    done
    { cat all; printf '%s\n' "${lines[@]}"; printf '%s  file' "$good"; } >many # no line feed at the end
    run --check many
    same "many" "$(md5sum -c many 2>&1 | sed "s/^md5sum/treesum/; s/'go'.*'ne'/go\\\\nne/" | sort)" \
        "$(sort "$work/out" "$work/err")"
    printf '%s file\n' "$good" >single_blank
    run --check single_blank
    expect 0 "$(md5sum -c single_blank)" ""
    printf '\0\n%s  file\0\n\0%s  file\n%s  file\n\0' "$good" "$good" "$good" >zeros
    run --check zeros
    expect 1 "file: OK" "treesum: WARNING: 4 lines are improperly formatted"
}

it_finds_the_algorithm_unless_told() {
    echo 1 >file
    { md5sum file; sha1sum file; } >both
    "$program" --crc32 file >>both
    run --check both
    expect 0 $'file: OK\nfile: OK\nfile: OK' ""
    run --check both --sha1
    expect 1 "file: OK" "treesum: WARNING: 2 lines are improperly formatted"
    md5sum file >md5
    run --crc32 --check md5
    expect 1 "" "treesum: md5: no properly formatted checksum lines found"
}

it_prints_only_failures_when_quiet() {
    echo 1 >file
    { md5sum file; echo "00000000  file"; } >manifest
    run --quiet --check manifest
    expect 1 "file: FAILED" "treesum: WARNING: 1 computed checksum did NOT match"
}

it_reports_a_manifest_that_cannot_be_read() {
    mkdir directory
    : >empty
    local rows=("directory:Is a directory" "gone:No such file or directory"
        "empty:no properly formatted checksum lines found")
    local row
    for row in "${rows[@]}"; do
        run --check "${row%%:*}"
        expect 1 "" "treesum: ${row%%:*}: ${row#*:}"
    done
    run --check - </dev/null
    expect 1 "" "treesum: standard input: no properly formatted checksum lines found"
}

it_refuses_a_wrong_command_line() {
    local budget="a budget is a size of 4K to 1024M, not"
    local rows=("--bogus:unknown option '--bogus'" "-x:unknown option '-x'"
        "--md5=1:unknown option '--md5=1'" "--budget:option '--budget' wants a value"
        "--check:option '--check' wants a value" "--check a b:--check takes no PATH"
        "--check a --check b:one --check at a time" "--quiet a:--quiet is for --check alone"
        "--md5 --sha1:one algorithm at a time")
    local size row
    for size in 0 4095 3K 1025M 1G 5000000000 -1 K 4KK x 99999999999999999999; do
        rows+=("--budget $size:$budget '$size'")
    done
    for size in 0 65 -1 x; do rows+=("--workers $size:workers are 1 to 64, not '$size'"); done
    rows+=("--timeout 86401:a time-out is 0 to 86400 seconds, not '86401'")
    for row in "${rows[@]}"; do
        # shellcheck disable=SC2086 # words of their own
        run ${row%%:*}
        expect 2 "" "treesum: ${row#*:}; try 'treesum --help'"
    done
}

it_explains_itself() {
    run --help
    same "status" 0 "$status"
    same "first words" "Usage: treesum" "${out:0:14}"
    run --version
    same "status" 0 "$status"
    [[ $out =~ ^treesum\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || same "version" "treesum X.Y.Z" "$out"
}

failures=0
for claim in $(declare -F | awk '{print $3}' | grep '^it_'); do
    mkdir "$work/$claim"
    if ! (cd "$work/$claim" && failed=0 && "$claim" && exit "$failed"); then
        echo "FAILED $claim"
        failures=$((failures + 1))
    fi
done
exit $((failures != 0))
