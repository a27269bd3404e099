# Rows as of `orvo-host show --csv` on many devices, the device before each.
#   mawk -f bench/fleet_rows.awk -v first=DEVICE -v devices=COUNT
# A device is fast or slow and keeps some of its packages at an older version, whose
# generation settles later. One package in ten is not learned yet, one in twenty doubted.
BEGIN {
    packages = 50
    srand(1)
    for (p = 1; p <= packages; p++) settlesMs[p] = 300 + int(6000 * rand())
    srand(first)
    for (d = first; d < first + devices; d++) {
        slowness = 0.5 + 2 * rand()
        for (p = 1; p <= packages; p++) row(d, p, slowness)
    }
}

function row(device, package, slowness,    generation, ms, isLearned, launches, doubts) {
    generation = 1 + int(3 * rand())
    ms = int(settlesMs[package] * slowness * (0.9 + 0.2 * rand()) * (1.3 - generation / 10))
    isLearned = rand() < 0.9
    launches = isLearned ? 5 + int(300 * rand()) : 2
    doubts = rand() < 0.95 ? "none" : rand() < 0.5 ? "noisy" : "moving noisy"
    printf "device-%07d,1,com.example.app%02d,%d,%s,%s,%s,%.0f,%d,%d,%d.0,%d,%d.0,%d,%s,%d,15,%d,v%d\n",
        device, package, launches, isLearned ? "," : "2,3",
        isLearned ? (ms - 30) " " ms " " ms " " ms " " (ms + 30) : ms " " ms,
        isLearned ? "true," ms : "false,", 1795000000000 + int(300000000 * rand()),
        isLearned ? 5 : 2, ms - 30 * isLearned, ms, ms + 30 * isLearned, ms + 208, ms + 205,
        doubts, ms, generation, generation
}
