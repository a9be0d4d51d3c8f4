"""A certification authority to enrol with: `openssl ca` behind the pages and protocols of several
kinds of authorities. What it knows stands in one folder, so that a decision may come between runs."""
