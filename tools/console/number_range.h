// What the options of both programs that take a number with a fraction accept.
#ifndef AC500_TOOLS_CONSOLE_NUMBER_RANGE_H
#define AC500_TOOLS_CONSOLE_NUMBER_RANGE_H

namespace CLI {
class Validator;
}

namespace ac500::console {

// Accepts numbers from `least` to `most`, both included. Unlike CLI::Range it refuses nan, which is neither below nor above
// anything.
CLI::Validator numberFrom(double least, double most);

}  // namespace ac500::console

#endif
