-- The tables of the examples, each beside the program that uses it: mariadb DATABASE < tables.sql

-- cached_table
CREATE TABLE settings (
  _id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY,
  name VARCHAR(64) NOT NULL,
  value VARCHAR(255) NOT NULL
);

-- job_queue
CREATE TABLE jobs (
  _id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY,
  task VARCHAR(255) NOT NULL,
  claimed_by VARCHAR(64)
);

-- worker_pool
CREATE TABLE orders (
  _id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY,
  pieces BIGINT NOT NULL,
  price BIGINT NOT NULL,
  total BIGINT
);

-- batch_load
CREATE TABLE readings (
  _id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY,
  batch VARCHAR(255) NOT NULL,
  sensor VARCHAR(64) NOT NULL,
  value DOUBLE NOT NULL,
  INDEX (batch)
);

-- first_program, from_python
CREATE TABLE item (
  _id BIGINT UNSIGNED AUTO_INCREMENT PRIMARY KEY,
  name VARCHAR(64) NOT NULL,
  price INT NOT NULL
);
