#!/usr/bin/env bash
# A script in 100 parts by GNU parallel on several hosts:  parallel.sh SCRIPT HOST...     (":" is this machine)
# In the script's folder, on a file system that every host sees under the same path. A part that fails is tried again.
set -euo pipefail
script=$1 parts=${PARTS:-100}
hosts=$(IFS=,; echo "${*:2}")
seq "$parts" | parallel --will-cite --sshlogin "${hosts:-:}" --workdir "$PWD" --retries 3 \
    "quillorne-tools part $script --part {}/$parts --force || [ \$? -eq 1 ]"
quillorne-tools merge "$script" "${script%.*}".part-*-of-"$(printf %05d "$parts")".fit \
    --log "${script%.*}.log" >/dev/null || [ $? -eq 1 ]
