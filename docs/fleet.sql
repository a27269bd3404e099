-- Merges what `orvo-host show --json` printed on many devices, one file a device in
-- the folder devices/, into one row a package:
--
--   sqlite3 -header -column :memory: < docs/fleet.sql
WITH
  device_files AS (
    SELECT name AS device, CAST(data AS TEXT) AS content
    FROM fsdir('devices') WHERE name LIKE '%.json'
  ),
  learned AS (
    SELECT device, each.value ->> 'package' AS package,
           each.value ->> 'final_endpoint_ms' AS final_ms
    FROM device_files, json_each(content, '$.packages') AS each
    WHERE content ->> 'schema_version' = 1
      AND each.value ->> 'final_endpoint_ms' IS NOT NULL
  ),
  ranked AS (
    SELECT package, final_ms,
           row_number() OVER (PARTITION BY package ORDER BY final_ms) AS rank,
           count(*) OVER (PARTITION BY package) AS devices
    FROM learned
  )
SELECT package, devices,
       avg(final_ms) FILTER (WHERE rank IN ((devices + 1) / 2, (devices + 2) / 2)) AS median_ms,
       min(final_ms) AS smallest_ms,
       max(final_ms) AS largest_ms,
       -- the middle half of the devices lies within this
       min(final_ms) FILTER (WHERE 4 * rank >= 3 * devices)
         - min(final_ms) FILTER (WHERE 4 * rank >= devices) AS quartile_spread_ms
FROM ranked
GROUP BY package
ORDER BY median_ms DESC;
