-- The question of fleet.sql, asked of the rows in fleet/ by ClickHouse on several
-- servers, which its configuration names as the cluster "fleet" (fleet.md). The first
-- two statements are for every server, which then takes its share of the rows:
--
--   cat fleet/1*.csv | clickhouse-client --query 'INSERT INTO learned FORMAT CSV'
-- Empty fields, which are nulls, stay empty texts: as numbers they would be 0.
CREATE TABLE learned (
  device String, schema_version String, package String, launch_events String,
  samples_stored String, samples_needed String, launch_endpoints_ms String, learned String,
  final_endpoint_text String, last_launched_at_unix_ms String, launches_measured String,
  endpoint_min_ms String, endpoint_median_ms String, endpoint_max_ms String,
  since_start_median_ms String, since_start_ms String, doubts String,
  second_opinion_ms String, second_opinion_error_ms String, generation String, label String,
  final_endpoint_ms Nullable(UInt32) MATERIALIZED toUInt32OrNull(final_endpoint_text)
) ENGINE = MergeTree ORDER BY package;

CREATE TABLE fleet AS learned ENGINE = Distributed(fleet, default, learned);

-- Asked of any of them. Each server counts how often it has each endpoint of a package,
-- and only those counts travel: they do not grow with the number of devices. up_to is
-- how many devices have an endpoint up to that one.
SELECT package, up_to[length(up_to)] AS devices,
       (arrayFirst((ms, n) -> n >= intDiv(devices + 1, 2), endpoints, up_to)
         + arrayFirst((ms, n) -> n >= intDiv(devices + 2, 2), endpoints, up_to)) / 2 AS median_ms,
       endpoints[1] AS smallest_ms,
       endpoints[length(endpoints)] AS largest_ms,
       arrayFirst((ms, n) -> 4 * n >= 3 * devices, endpoints, up_to)
         - arrayFirst((ms, n) -> 4 * n >= devices, endpoints, up_to) AS quartile_spread_ms
FROM (
  SELECT package, groupArray(final_ms) AS endpoints, arrayCumSum(groupArray(times)) AS up_to
  FROM (
    SELECT package, assumeNotNull(final_endpoint_ms) AS final_ms, count() AS times
    FROM fleet
    WHERE schema_version = '1' AND final_endpoint_ms IS NOT NULL
    GROUP BY package, final_ms
    ORDER BY package, final_ms
  )
  GROUP BY package
)
ORDER BY median_ms DESC, package;
