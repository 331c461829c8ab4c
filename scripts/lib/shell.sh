# What the scripts in Bash share; they source it when they stand in the root of the project.

driver_folders=(core protocol services symbols values vars)

# With ccache, a source that was compiled before with the same options, by another preset, gate or clone, is not compiled
# again. Paths below this folder are taken as relative, and the compiler is told to keep the folder out of what it makes
# (CMakeLists.txt), so that the objects of one clone are right in another. A precompiled header is named by its content.
# CMake reads the launcher when it configures; without ccache, or with CCACHE_DISABLE set, everything is compiled.
compiler_launcher=
if command -v ccache >/dev/null; then
    compiler_launcher=ccache
    export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros
fi
launcher_option=-DCMAKE_CXX_COMPILER_LAUNCHER=$compiler_launcher

# hold_folder DIR: nobody else builds in it until this script ends.
hold_folder() {
    mkdir -p "$1"
    exec {held_folder}>"$1/.lock"
    flock "$held_folder"
}

# with_patience COMMAND...: repeats what fetches from a mirror that is being updated, or is busy, twice before it gives up.
with_patience() {
    local pause
    for pause in 10 40; do
        if "$@"; then return 0; fi
        echo "That failed; trying again in $pause s ..." >&2
        sleep "$pause"
    done
    "$@"
}

# A gate counts what it checked, and leaves "PASSED FAILED" in build/GATE-result.txt for ./test to add up.
passed=0
failed=0
gate_result=

# begin_gate GATE: until end_gate a failure stands in the result, which counts if the run is cut off.
begin_gate() {
    gate_result=build/$1-result.txt
    mkdir -p build
    echo "0 1" >"$gate_result"
}

# end_gate: answers whether nothing failed.
end_gate() {
    echo "$passed $failed" >"$gate_result"
    [ "$failed" -eq 0 ]
}

# check NAME COMMAND...: a check of a gate. Runs it in a shell of its own, which stops at its first failure; its output
# goes to a file in $work and is shown if it fails.
check() {
    local name=$1 result=0
    shift
    set +e
    (
        set -e
        "$@"
    ) >"$work/log.txt" 2>&1
    result=$?
    set -e
    if [ "$result" -eq 0 ]; then
        echo "  ok      $name"
        passed=$((passed + 1))
    else
        echo "  FAILED  $name"
        tail -n 40 "$work/log.txt" | sed 's/^/          /'
        failed=$((failed + 1))
    fi
}

# show_errors LOG: what matters of a build's output.
show_errors() {
    grep -E -A 12 'error|Error|FAILED' "$1" | head -n 80 >&2 || tail -n 40 "$1" >&2
}
