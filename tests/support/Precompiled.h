#pragma once

// What most tests include, compiled once. A test still names what it uses.

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>
