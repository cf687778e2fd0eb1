"""What becomes of the bench's measurements: figures, targets, tables, comparison."""
