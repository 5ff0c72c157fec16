#pragma once

#include <QByteArray>

/// docs/commands.md: every command and event of the catalogue, in Markdown.
QByteArray commandPage();
