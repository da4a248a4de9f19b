#!/usr/bin/env bash
# A script in 100 parts as a Slurm job array, and the merge when all of them are done:  slurm.sh SCRIPT
# In the script's folder, on a file system that every node sees. A part whose node fails is computed again.
set -euo pipefail
script=$1 parts=${PARTS:-100}
array=$(sbatch --parsable --array=1-"$parts" --requeue --output=part-%a.out \
    --wrap "quillorne-tools part '$script' --part \$SLURM_ARRAY_TASK_ID/$parts --force || [ \$? -eq 1 ]")
sbatch --parsable --dependency=afterok:"$array" --output=merge.out \
    --wrap "quillorne-tools merge '$script' '${script%.*}'.part-*-of-$(printf %05d "$parts").fit --log '${script%.*}.log'"
