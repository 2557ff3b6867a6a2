#version 450
layout(location = 0) in vec4 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 toLight;
layout(location = 3) in vec3 toEye;
layout(set = 0, binding = 0) uniform Camera { mat4 modelViewProjection; };
layout(location = 0) out vec3 vNormal;
layout(location = 1) out vec3 vToLight;
layout(location = 2) out vec3 vToEye;

void main() {
    vNormal = normal;
    vToLight = toLight;
    vToEye = toEye;
    gl_Position = modelViewProjection * position;
}
