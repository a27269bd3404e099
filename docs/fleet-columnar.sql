-- The question of fleet.sql, asked of the rows in fleet/ by DuckDB (fleet.md).
SET memory_limit = '2GB';

CREATE TABLE learned AS
SELECT * FROM read_csv('fleet/*.csv', auto_detect = false, header = false, delim = ',',
  quote = '"', escape = '"', columns = {
    'device': 'VARCHAR', 'schema_version': 'INTEGER', 'package': 'VARCHAR',
    'launch_events': 'INTEGER', 'samples_stored': 'INTEGER', 'samples_needed': 'INTEGER',
    'launch_endpoints_ms': 'VARCHAR', 'learned': 'BOOLEAN', 'final_endpoint_ms': 'INTEGER',
    'last_launched_at_unix_ms': 'BIGINT', 'launches_measured': 'INTEGER',
    'endpoint_min_ms': 'INTEGER', 'endpoint_median_ms': 'DOUBLE', 'endpoint_max_ms': 'INTEGER',
    'since_start_median_ms': 'DOUBLE', 'since_start_ms': 'INTEGER', 'doubts': 'VARCHAR',
    'second_opinion_ms': 'INTEGER', 'second_opinion_error_ms': 'INTEGER',
    'generation': 'INTEGER', 'label': 'VARCHAR'});

SELECT package, count(*) AS devices,
       median(final_endpoint_ms) AS median_ms,
       min(final_endpoint_ms) AS smallest_ms,
       max(final_endpoint_ms) AS largest_ms,
       quantile_disc(final_endpoint_ms, 0.75)
         - quantile_disc(final_endpoint_ms, 0.25) AS quartile_spread_ms
FROM learned
WHERE schema_version = 1 AND final_endpoint_ms IS NOT NULL
GROUP BY package
ORDER BY median_ms DESC, package;
