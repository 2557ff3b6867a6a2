#version 450
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(set = 0, binding = 0) uniform Camera {
    mat4 modelViewProjection;
    mat4 modelView;
};
layout(location = 0) out vec3 vPosition;
layout(location = 1) out vec3 vNormal;

void main() {
    vec4 p = vec4(position, 1.0);
    vPosition = (modelView * p).xyz;
    vNormal = normal;
    gl_Position = modelViewProjection * p;
}
