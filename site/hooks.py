"""What mkdocs is told beyond mkdocs.yml."""
from page_links import anchor_of  # scripts/site says where that is


def on_config(config):
    """Headings get the names that they have in the repository view, so that a link leads to the same place in both."""
    config["mdx_configs"]["toc"]["slugify"] = lambda heading, _separator: anchor_of(heading)
    return config
