#pragma once

#import <Foundation/Foundation.h>

/// Adopted by a class whose instance methods and state are written in C++: its @implementation declares no variables,
/// and its superclass is NSObject. The linker can then refer to the class by name; instances are made in C++.
@protocol PLCompletedClass
@end
