-- The question of fleet.sql, asked of the rows in fleet/ (fleet.md tells how they come
-- there) rather than of one file a device:
--
--   sqlite3 -header -column fleet.db < docs/fleet-sqlite.sql
CREATE TABLE learned (
  device, schema_version INTEGER, package, launch_events, samples_stored, samples_needed,
  launch_endpoints_ms, learned, final_endpoint_ms INTEGER, last_launched_at_unix_ms,
  launches_measured, endpoint_min_ms, endpoint_median_ms, endpoint_max_ms,
  since_start_median_ms, since_start_ms, doubts, second_opinion_ms,
  second_opinion_error_ms, generation, label);
.import --csv "|cat fleet/*.csv" learned

-- Equal endpoints are counted first, so that what is ranked is small.
WITH counted AS (
  SELECT package, final_endpoint_ms AS final_ms, count(*) AS equal
  FROM learned WHERE schema_version = 1 AND final_endpoint_ms <> ''
  GROUP BY package, final_endpoint_ms
), ranked AS (
  SELECT package, final_ms,
         sum(equal) OVER (PARTITION BY package ORDER BY final_ms) AS rank,
         sum(equal) OVER (PARTITION BY package) AS devices
  FROM counted
)
SELECT package, devices,
       (min(final_ms) FILTER (WHERE 2 * rank >= devices)
         + min(final_ms) FILTER (WHERE 2 * rank > devices)) / 2.0 AS median_ms,
       min(final_ms) AS smallest_ms,
       max(final_ms) AS largest_ms,
       min(final_ms) FILTER (WHERE 4 * rank >= 3 * devices)
         - min(final_ms) FILTER (WHERE 4 * rank >= devices) AS quartile_spread_ms
FROM ranked
GROUP BY package
ORDER BY median_ms DESC, package;
