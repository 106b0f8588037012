INSERT INTO bookmark VALUES (1, 3, 'Scratched car', 1430480010);
