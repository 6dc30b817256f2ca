// Runs a folder's load.duckdb.sql in a new database and prints every row of its tables, then the same of
// the Parquet files: per line a source, a table and the row, as JSON.
//
//   duckdb.mjs FOLDER PACKAGES   the folder of "fleet export", and that of the engine's packages
import fs from 'node:fs';
import path from 'node:path';
import { createRequire } from 'node:module';

const [folder, packages] = process.argv.slice(2);
const { DuckDBInstance } = createRequire(path.resolve(packages, 'package.json'))('@duckdb/node-api');
process.chdir(folder);
const connection = await (await DuckDBInstance.create(':memory:')).connect();
await connection.run(fs.readFileSync('load.duckdb.sql', 'utf8'));
const rows = async (query) => (await connection.runAndReadAll(query)).getRows();
for (const [table] of await rows('SELECT table_name FROM duckdb_tables() ORDER BY 1'))
  for (const [source, from] of [['table', `"${table}"`], ['parquet', `'${table}.parquet'`]])
    for (const [row] of await rows(`SELECT to_json(r)::VARCHAR FROM ${from} r`))
      console.log(`${source}\t${table}\t${row}`);
