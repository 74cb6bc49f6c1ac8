#!/usr/bin/env bash
# sbatch examples/slurm.sh FOLDER OUT: converts the recordings below FOLDER as a job array of Slurm; both folders are shared
# by the nodes. Submit it again after a failure, or for new recordings: what is done stays.
#SBATCH --job-name=vortena
#SBATCH --array=1-8
#SBATCH --cpus-per-task=2
#SBATCH --mem=4G
#SBATCH --requeue
#SBATCH --output=vortena-%A_%a.log

# As many as the array has tasks. Not SLURM_ARRAY_TASK_COUNT: that changes when some tasks are submitted again.
shards=${SHARDS:-8}

# Slurm tells the memory of a node only where the job asks for that (--mem, not --mem-per-cpu).
exec "${VORTENA:-vortena}" convert "$1" --out "$2" --recursive --skip-existing --json \
  --shard "$SLURM_ARRAY_TASK_ID/$shards" --jobs "$SLURM_CPUS_PER_TASK" ${SLURM_MEM_PER_NODE:+--memory "$SLURM_MEM_PER_NODE"}
