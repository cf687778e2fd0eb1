"""Material with known truth, and measures of how near musical readings come to it."""
