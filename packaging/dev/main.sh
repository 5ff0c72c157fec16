#!/usr/bin/env bash
# ./dev VERB: dispatches to a script of this folder. The working directory is the repository.
set -euo pipefail
here=packaging/dev
verb=${1:-help}
[ $# -gt 0 ] && shift
case $verb in
    run | test | bench | lint | realhost | build | clean) exec bash "$here/$verb.sh" "$@" ;;
    help | -h | --help)
        cat <<'TXT'
Usage: ./dev VERB

  run        build, start the daemon, show a round of real requests, stay up until Ctrl-C
             (--once: end after the round; --real: use this machine's own network tools;
             --port N: listen there)
  test       build with warnings as errors and run every test, plain and under sanitizers
             (--plain, --sanitize, --fuzz: only that kind; -R REGEX: only these tests)
  bench      Release build, measure, write the tables to bench/results/
  lint       check the format of all code and run clang-tidy on what changed
  realhost   boot a virtual machine with real host tools and run the suite in it
  build      build into build/bin and build/lib
  clean      remove every build folder
TXT
        ;;
    *)
        echo "dev: no verb '$verb'; try ./dev help" >&2
        exit 2
        ;;
esac
